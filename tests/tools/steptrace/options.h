// The command line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace steptrace {

struct Options {
    std::string output;    ///< perf.data with records in call-stack mode
    std::string anyOutput; ///< the same with taken branches of any kind; empty: none
    std::string truth;     ///< true chains; empty: none
    std::uint64_t period = 331;
    std::uint16_t cap = 127; ///< addresses of the software chain, the sampled one included
    std::uint64_t maxSteps = 2'000'000;
    std::uint64_t maxSamples = 2000;
    std::uint64_t skip = 0;         ///< steps before the first sample
    std::size_t depth = 32;         ///< branch records
    std::string from = "exec";      ///< exec: with the dynamic loader; entry: at the entry point
    std::string software = "frame"; ///< frame: by frame pointers; true: from the truth
    std::vector<std::string> command;
};

/// Makes `app` read its words into `options`, which outlives it.
void addOptions(CLI::App& app, Options& options);

} // namespace steptrace
