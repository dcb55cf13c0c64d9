#pragma once

#include <CLI/CLI.hpp>

// Each adds one subcommand to the command line. What the subcommand is to do runs as its callback,
// and throws what it cannot do as a std::exception with a one-line text.
namespace samplefold::cli {

/// Ends of the command, for scripts.
inline constexpr int exitFailure = 1; ///< the input, the result or the machine did not allow it
inline constexpr int exitUsage = 2;   ///< the command line is wrong

// An `exitCode` receives exitFailure when only a part was done: the input was damaged and only
// partly loaded, files could not be copied. It outlives `app`.
void addLoadCommand(CLI::App& app, int& exitCode);
void addReportCommand(CLI::App& app);
void addModulesCommand(CLI::App& app);
void addAnnotateCommand(CLI::App& app);
void addExplainCommand(CLI::App& app);
void addArchiveCommand(CLI::App& app, int& exitCode);
void addTimelineCommand(CLI::App& app);
void addSqlCommand(CLI::App& app);
void addTopologyCommand(CLI::App& app);

} // namespace samplefold::cli
