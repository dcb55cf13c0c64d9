#include "cli/commands.h"
#include "cli/json_output.h"
#include "report/explain_report.h"

#include <charconv>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace samplefold::cli {
namespace {

struct ExplainSettings {
    std::string result;
    std::optional<std::int64_t> sample;
    bool json = false;
};

void runExplain(const ExplainSettings& settings)
{
    const auto result = rowvault1::openResult(settings.result, rowvault1::open_mode_t::read_only);
    const auto& sample = settings.sample;
    if (settings.json) {
        writeJson(sample ? report::explanationToJson(*result, *sample)
                         : report::branchOverviewToJson(*result));
    } else if (sample) {
        report::writeExplanation(*result, *sample, std::cout);
    } else {
        report::writeBranchOverview(*result, std::cout);
    }
}

std::string numberProblem(const std::string& text)
{
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc() && stop == end && number > 0) return {};
    return "'" + text + "' is no number of a sample; they count from 1";
}

} // namespace

void addExplainCommand(CLI::App& app)
{
    const auto settings = std::make_shared<ExplainSettings>();
    CLI::App* const command = app.add_subcommand(
        "explain", "Show how the call chain of a sample came about from its branch records; "
                   "without a sample, what became of the branch records of all");
    command->add_option("RESULT", settings->result, "Folder of the result")->required();
    command
        ->add_option("--sample", settings->sample,
                     "Number of the sample: the column interval of the view samples")
        ->type_name("N")
        ->check(CLI::Validator(numberProblem, ""));
    command->add_flag("--json", settings->json, "Write one JSON object");
    command->callback([settings] { runExplain(*settings); });
}

} // namespace samplefold::cli
