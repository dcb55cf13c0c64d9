#include "cli/commands.h"
#include "cli/json_output.h"
#include "report/module_report.h"

#include <iostream>
#include <memory>
#include <string>

namespace samplefold::cli {
namespace {

struct ModulesSettings {
    std::string result;
    report::ModuleOptions options;
    bool json = false;
};

void runModules(const ModulesSettings& settings)
{
    const auto result = rowvault1::openResult(settings.result, rowvault1::open_mode_t::read_only);
    if (settings.json) {
        writeJson(modulesToJson(*result, settings.options));
    } else {
        writeModules(*result, settings.options, std::cout);
    }
}

} // namespace

void addModulesCommand(CLI::App& app)
{
    const auto settings = std::make_shared<ModulesSettings>();
    CLI::App* const command = app.add_subcommand(
        "modules", "Show which file was found for each module, and why names are missing");
    command->add_option("RESULT", settings->result, "Folder of the result")->required();
    command->add_flag("--all", settings->options.all,
                      "Also modules without samples, and names that are no files");
    command->add_flag("-v,--attempts", settings->options.attempts,
                      "List each path that was tried for every module, not only for those with "
                      "samples that were not found");
    command->add_flag("--json", settings->json, "Write one JSON object");
    command->callback([settings] { runModules(*settings); });
}

} // namespace samplefold::cli
