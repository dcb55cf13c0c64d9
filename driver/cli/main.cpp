// The command samplefold: loads profiles into results, reports on them, asks them by SQL.

#include "cli/commands.h"
#include "load/version.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

namespace {

constexpr const char* g_footer =
    "Examples:\n"
    "  samplefold load perf.data -o result\n"
    "  samplefold report result --by module\n"
    "  samplefold sql result \"SELECT module, count(*) FROM samples GROUP BY module\"\n"
    "Exit status: 0 done, 1 the input or result did not allow it (what could be read is kept), 2 "
    "wrong usage.";

/// The first line of a text: messages are one line whatever a library puts into them.
std::string firstLine(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

int run(int argc, char** argv)
{
    CLI::App app("samplefold: from hardware samples to a result that you can query");
    app.set_version_flag("--version", samplefold::load::versionText());
    app.require_subcommand(1);
    app.footer(g_footer);
    int exitCode = 0;
    samplefold::cli::addLoadCommand(app, exitCode);
    samplefold::cli::addReportCommand(app);
    samplefold::cli::addModulesCommand(app);
    samplefold::cli::addAnnotateCommand(app);
    samplefold::cli::addExplainCommand(app);
    samplefold::cli::addArchiveCommand(app, exitCode);
    samplefold::cli::addSqlCommand(app);
    samplefold::cli::addTopologyCommand(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int code = app.exit(error);
        return code == 0 ? 0 : samplefold::cli::exitUsage;
    }
    std::cout.flush();
    return std::cout ? exitCode : samplefold::cli::exitFailure;
}

void tellFailure(const std::exception& error) noexcept
{
    try {
        std::cerr << "samplefold: " << firstLine(error.what()) << '\n';
    } catch (...) {
        // Nobody is left to be told.
        std::fputs("samplefold: failed\n", stderr);
    }
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        tellFailure(error);
    }
    return samplefold::cli::exitFailure;
}
