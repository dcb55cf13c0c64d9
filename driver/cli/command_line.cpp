#include "cli/command_line.h"

#include "cli/commands.h"
#include "load/version.h"

namespace samplefold::cli {
namespace {

constexpr const char* g_footer =
    "Examples:\n"
    "  samplefold load perf.data -o result\n"
    "  samplefold report result --by module\n"
    "  samplefold sql result \"SELECT module, count(*) FROM samples GROUP BY module\"\n"
    "Exit status: 0 done, 1 the input or result did not allow it (what could be read is kept), 2 "
    "wrong usage.";

} // namespace

void describeCommandLine(CLI::App& app, int& exitCode)
{
    app.name("samplefold");
    app.description("Turn hardware samples into a result that you can query");
    app.set_version_flag("--version", load::versionText());
    app.require_subcommand(1);
    app.footer(g_footer);
    addLoadCommand(app, exitCode);
    addReportCommand(app);
    addModulesCommand(app);
    addAnnotateCommand(app);
    addExplainCommand(app);
    addArchiveCommand(app, exitCode);
    addTimelineCommand(app);
    addSqlCommand(app);
    addTopologyCommand(app);
}

} // namespace samplefold::cli
