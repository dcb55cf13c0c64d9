#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace samplefold::manual {

/// The manual page of a command line as source for man(7): name, synopsis, arguments and options
/// with their defaults, and for a command that has some the commands below it, each with its page.
/// `page` is the title
/// ("samplefold-load"), `words` what a user types ("samplefold load"), `version` stands in the
/// footer. Everything comes from the definitions that the command line is parsed by. Throws nothing
/// of its own.
std::string manPage(CLI::App& app, const std::string& page, const std::string& words,
                    const std::string& version);

} // namespace samplefold::manual
