#pragma once

#include <string>

namespace seek_test {

/// Runs a shell command and returns what it prints. Throws when it fails, with the command.
std::string outputOf(const std::string& command);

/// The text in quotes, for a shell command.
std::string shellQuoted(const std::string& text);

} // namespace seek_test
