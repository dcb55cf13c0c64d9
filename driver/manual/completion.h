#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace samplefold::manual {

/// A script for bash that completes the command lines of `program`: commands, options, the values
/// of those options that take only some, and paths everywhere else. It is sourced, or put where
/// bash-completion looks for it; zsh reads it after `autoload bashcompinit; bashcompinit`. Made
/// from the definitions that the command line is parsed by. Throws nothing of its own.
std::string bashCompletion(CLI::App& app, const std::string& program);

} // namespace samplefold::manual
