#include "cli/commands.h"
#include "report/profile_report.h"
#include "report/sql_rows.h"

#include <iostream>
#include <map>
#include <memory>
#include <string>

namespace samplefold::cli {
namespace {

struct Settings {
    std::string result;
    report::ReportOptions report;
    bool json = false;
};

void runReport(const Settings& settings)
{
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
    CLI::App* const command =
        app.add_subcommand("report", "Show what a result holds: summary, quality, top entries by event");
    command->add_option("RESULT", settings->result, "Folder of the result")->required();
    command->add_option("--by", settings->report.by, "What samples are grouped by")
        ->transform(CLI::CheckedTransformer(report::groupings(), CLI::ignore_case))
        ->default_str("module");
    command->add_option("--limit", settings->report.limit, "Entries per event, 0 for all")
        ->capture_default_str();
    command->add_flag("--json", settings->json, "Write one JSON object");
    command->callback([settings] { runReport(*settings); });
}

} // namespace samplefold::cli
