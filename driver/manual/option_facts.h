#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace samplefold::manual {

/// What manual pages and completions tell of an option or argument.
struct OptionFacts {
    std::vector<std::string> names; ///< with their hyphens, short before long; of an argument none
    std::string value;              ///< what stands for its value; empty: it takes none
    std::vector<std::string> choices; ///< the values that it takes, if it takes only some
    std::string description;
    std::string byDefault; ///< empty: none, or not told
    bool isPositional = false;
    bool isRequired = false;
};

/// The options and arguments of a command line in the order of their definition.
std::vector<OptionFacts> optionsOf(CLI::App& app);

} // namespace samplefold::manual
