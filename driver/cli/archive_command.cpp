#include "cli/commands.h"
#include "cli/json_output.h"
#include "report/archive.h"
#include "report/text_table.h"

#include <iostream>
#include <memory>
#include <string>

namespace samplefold::cli {
namespace {

struct ArchiveSettings {
    std::string result;
    bool sources = false;
    bool dryRun = false;
    bool json = false;
};

report::ArchivePlan planOf(const ArchiveSettings& settings)
{
    const auto result = rowvault1::openResult(settings.result, rowvault1::open_mode_t::read_only);
    return report::archivePlan(*result, settings.sources);
}

void runArchive(const ArchiveSettings& settings, int& exitCode)
{
    const report::ArchiveReport report = report::fillArchive(planOf(settings), settings.dryRun);
    if (settings.json) {
        writeJson(archiveToJson(report));
    } else {
        writeArchive(report, std::cout);
    }
    for (const report::ArchiveOutcome& outcome : report.outcomes) {
        if (!isFailure(outcome)) continue;
        std::cerr << "samplefold: "
                  << report::printable(outcome.item.file + " is not archived: " + outcome.problem)
                  << '\n';
        exitCode = exitFailure;
    }
}

} // namespace

void addArchiveCommand(CLI::App& app, int& exitCode)
{
    const auto settings = std::make_shared<ArchiveSettings>();
    CLI::App* const command = app.add_subcommand(
        "archive", "Copy the binaries and symbol files of a result into its folder, so that they "
                   "are found on other machines");
    command->add_option("RESULT", settings->result, "Folder of the result")->required();
    command->add_flag("--sources", settings->sources,
                      "Also the source files that debug information names");
    command->add_flag("--dry-run", settings->dryRun,
                      "Tell what would be copied, and write nothing");
    command->add_flag("--json", settings->json, "Write one JSON object");
    command->callback([settings, &exitCode] { runArchive(*settings, exitCode); });
}

} // namespace samplefold::cli
