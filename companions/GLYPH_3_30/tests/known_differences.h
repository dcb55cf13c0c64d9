#pragma once

#include "sample_program.h"

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

// Why answers may differ from those of addr2line, and how often.
namespace glyph_test {

/// Function and place by turns, innermost first; "?" is an unknown place.
using answer_t = std::vector<std::string>;

/// What both say of one address. The stacks are equally deep.
struct compared_t {
    const GLYPH_3_30::IModuleSymbolBank& bank;
    const std::string& debugPath; ///< of the file that has the debug information
    std::uint64_t address = 0;
    bool isCovered = false; ///< a function of the debug information has the address
    const answer_t& ours;
    const answer_t& theirs;
};

/// A reason, what stands behind it, and the share of the addresses with lines at which it may be
/// needed; more than that is a fault that hides behind it.
struct difference_t {
    const char* name;
    const char* why;
    double mostPercent;
    std::vector<std::string> subjects; ///< labels where it is known to occur; none: anywhere
};
std::span<const difference_t> knownDifferences();

/// Names of the reasons for all that differs; "unexplained" where none fits.
std::vector<std::string> reasonsOf(const compared_t& compared);

} // namespace glyph_test
