#pragma once

#include <string>

// What several subcommands check of their options: each gives what is wrong with a text, nothing
// where it is right.
namespace samplefold::cli {

/// A count; the command line library would read -1 as a very large one.
inline std::string countProblem(const std::string& text)
{
    return text.find_first_not_of("0123456789") == std::string::npos ? "" : text + " is no count";
}

} // namespace samplefold::cli
