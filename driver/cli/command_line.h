#pragma once

#include <CLI/CLI.hpp>

namespace samplefold::cli {

/// Gives `app` the name, the options and the commands of the command samplefold. `exitCode`
/// receives exitFailure when a command did only a part of its work; it outlives `app`.
void describeCommandLine(CLI::App& app, int& exitCode);

} // namespace samplefold::cli
