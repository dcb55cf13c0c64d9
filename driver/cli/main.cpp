// The command samplefold: loads profiles into results, reports on them, asks them by SQL.

#include "cli/command_line.h"
#include "cli/commands.h"
#include "report/text_table.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <new>
#include <string>

namespace {

/// The first line of a text: messages are one line whatever a library puts into them.
std::string firstLine(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

int run(int argc, char** argv)
{
    CLI::App app;
    int exitCode = 0;
    samplefold::cli::describeCommandLine(app, exitCode);
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
        const bool isMemory = dynamic_cast<const std::bad_alloc*>(&error) != nullptr;
        const std::string text = isMemory ? "out of memory" : firstLine(error.what());
        std::cerr << "samplefold: " << samplefold::report::printable(text) << '\n';
    } catch (...) {
        // Nobody is left to be told.
        std::fputs("samplefold: failed\n", stderr);
    }
}

} // namespace

int main(int argc, char** argv)
{
    // Who started the command may ignore it, and that is inherited: the ends of tools that are run
    // would be lost.
    std::signal(SIGCHLD, SIG_DFL);
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        tellFailure(error);
    }
    return samplefold::cli::exitFailure;
}
