#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Which frame ends where: the decisions of createCallsiteInstance as a table of rules. A rule names
// sets of values, and for every combination of inputs exactly one rule holds, whatever their order.
namespace samplefold_test {

enum class loader_t : std::uint8_t { off, none, found, noCode, error };
enum class address_t : std::uint8_t { zero, minusOne, minusTwo, minusThree, ordinary };
enum class home_t : std::uint8_t { given, placeholder, jit };

/// The inputs that decide. `loader` is `off` when JIT is off although a loader exists.
struct decision_input_t {
    bool segmentGiven = false;
    std::int32_t type = 0;
    bool nativeImage = false;
    bool timed = false;
    loader_t loader = loader_t::none;
    address_t address = address_t::ordinary;
};

/// Where the relative address comes from.
enum class rva_t : std::uint8_t { inSegment, wholeAddress, ofLoader, zero, one, two, three };

struct decision_t {
    home_t home;
    rva_t rva;
    int questions;
    int placeholders; ///< placeholder rows that are written, used or not
    int reports;
};

/// The decisions of all rules that hold for the input.
std::vector<decision_t> decisionsFor(const decision_input_t& input);

} // namespace samplefold_test
