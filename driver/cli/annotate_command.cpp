#include "cli/commands.h"
#include "cli/json_output.h"
#include "report/annotate_report.h"

#include <iostream>
#include <memory>
#include <string>

namespace samplefold::cli {
namespace {

struct AnnotateSettings {
    std::string result;
    report::AnnotateOptions options;
    bool json = false;
};

void runAnnotate(const AnnotateSettings& settings)
{
    const auto result = rowvault1::openResult(settings.result, rowvault1::open_mode_t::read_only);
    if (settings.json) {
        writeJson(annotationToJson(*result, settings.options));
    } else {
        writeAnnotation(*result, settings.options, std::cout);
    }
}

/// An empty name would be part of every other.
std::string nameProblem(const std::string& text)
{
    return text.empty() ? "a name is needed" : "";
}

} // namespace

void addAnnotateCommand(CLI::App& app)
{
    const auto settings = std::make_shared<AnnotateSettings>();
    report::AnnotateOptions& options = settings->options;
    CLI::App* const command =
        app.add_subcommand("annotate", "Show the source lines of a function with their counts");
    command->add_option("RESULT", settings->result, "Folder of the result")->required();
    command
        ->add_option("FUNCTION", options.function,
                     "Name of the function, with or without its parameters, or a part that only "
                     "one name has")
        ->required()
        ->check(CLI::Validator(nameProblem, ""));
    command->add_option("--module", options.module,
                        "Only functions of this module: its name or its path");
    command->add_option("--event", options.event, "Only samples of this event");
    command
        ->add_option("--source", options.sources,
                     "Folder with source files, for those that are not at their recorded paths; "
                     "may be given several times")
        ->type_name("DIR")
        ->allow_extra_args(false);
    command->add_flag("--json", settings->json, "Write one JSON object");
    command->callback([settings] { runAnnotate(*settings); });
}

} // namespace samplefold::cli
