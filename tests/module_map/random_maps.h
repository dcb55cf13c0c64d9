#pragma once

#include "walk_model.h"

#include <samplefold_1/compute_task_map.h>
#include <samplefold_1/seg_inst_map.h>

#include <cstdint>
#include <random>
#include <vector>

// Random intervals for the comparisons with the model. The same seed gives the same intervals.
namespace samplefold_1::test {

/// Up to `count` intervals with ends in [0, limit]; ends may coincide, and whole intervals may.
std::vector<model_interval_t> randomIntervals(std::mt19937_64& random, std::size_t count,
                                              std::uint64_t limit);

/// The same, but no two share their low and no two share their high, so that the order of the walk
/// is settled. Fewer than `count` come out when the room is too small.
std::vector<model_interval_t> randomIntervalsWithoutTies(std::mt19937_64& random, std::size_t count,
                                                         std::uint64_t limit);

/// A number in [low, high].
std::uint64_t randomIn(std::mt19937_64& random, std::uint64_t low, std::uint64_t high);

inline void setEnds(SegInstInfo& segment, std::uint64_t low, std::uint64_t high)
{
    segment.lowAddress = low;
    segment.highAddress = high;
}

inline void setEnds(ComputeTaskInfo& task, std::uint64_t low, std::uint64_t high)
{
    task.lowTick = low;
    task.highTick = high;
}

/// The intervals as the stored type of a map, everything but the ends left at its default.
template <class T>
std::vector<T> storedAs(const std::vector<model_interval_t>& intervals)
{
    std::vector<T> out;
    for (const auto& interval : intervals) {
        T& stored = out.emplace_back();
        setEnds(stored, interval.low, interval.high);
    }
    return out;
}

} // namespace samplefold_1::test
