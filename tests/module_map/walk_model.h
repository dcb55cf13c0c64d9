#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// The slow, obvious account of which intervals a point visits and in what order. It keeps no tree:
// every question splits plain lists of copies again, from the root downwards.
namespace samplefold_1::test {

struct model_interval_t {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    std::size_t id = 0; ///< what the answer names the interval by
};

/// Ids of the intervals that hold `point`, in the order of the walk. The order of intervals that
/// tie in their low, or in their high, is open; give none that do where the order counts.
std::vector<std::size_t> modelWalk(const std::vector<model_interval_t>& intervals,
                                   std::uint64_t point);

/// Ids of the intervals that hold `point`, ascending: a plain scan.
std::vector<std::size_t> modelScan(const std::vector<model_interval_t>& intervals,
                                   std::uint64_t point);

} // namespace samplefold_1::test
