#include "cli/commands.h"
#include "report/profile_report.h"
#include "report/sql_rows.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace samplefold::cli {
namespace {

struct Settings {
    std::string result;
    std::string by = "module";
    report::ReportOptions report;
    bool json = false;
};

std::vector<std::string> groupingNames()
{
    std::vector<std::string> names;
    for (const auto& [name, grouping] : report::groupings())
        names.push_back(name);
    return names;
}

/// Empty for a count; the command line library would read -1 as a very large one.
std::string countProblem(const std::string& text)
{
    return text.find_first_not_of("0123456789") == std::string::npos ? "" : text + " is no count";
}

void runReport(Settings& settings)
{
    const auto& all = report::groupings();
    settings.report.by = std::find_if(all.begin(), all.end(), [&](const auto& entry) {
                             return entry.first == settings.by;
                         })->second;
    const auto result = rowvault1::openResult(settings.result, rowvault1::open_mode_t::read_only);
    if (settings.json) {
        std::cout << report::jsonText(report::reportToJson(*result, settings.report), 2) << '\n';
    } else {
        report::writeReport(*result, settings.report, std::cout);
    }
}

} // namespace

void addReportCommand(CLI::App& app)
{
    const auto settings = std::make_shared<Settings>();
    CLI::App* const command = app.add_subcommand(
        "report", "Show what a result holds: summary, quality, top entries by event");
    command->add_option("RESULT", settings->result, "Folder of the result")->required();
    command->add_option("--by", settings->by, "What samples are grouped by")
        ->transform(CLI::IsMember(groupingNames(), CLI::ignore_case))
        ->capture_default_str();
    command->add_option("--limit", settings->report.limit, "Entries per event, 0 for all")
        ->check(CLI::Validator(countProblem, ""))
        ->capture_default_str();
    command->add_flag("--json", settings->json, "Write one JSON object");
    command->callback([settings] { runReport(*settings); });
}

} // namespace samplefold::cli
