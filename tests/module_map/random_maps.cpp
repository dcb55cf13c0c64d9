#include "random_maps.h"

#include <algorithm>
#include <set>

namespace samplefold_1::test {

std::uint64_t randomIn(std::mt19937_64& random, std::uint64_t low, std::uint64_t high)
{
    return std::uniform_int_distribution<std::uint64_t>(low, high)(random);
}

std::vector<model_interval_t> randomIntervals(std::mt19937_64& random, std::size_t count,
                                              std::uint64_t limit)
{
    std::vector<model_interval_t> out;
    for (std::size_t id = 0; id < count; ++id) {
        const auto [low, high] =
            std::minmax({randomIn(random, 0, limit), randomIn(random, 0, limit)});
        out.push_back({low, high, id});
    }
    return out;
}

std::vector<model_interval_t> randomIntervalsWithoutTies(std::mt19937_64& random, std::size_t count,
                                                         std::uint64_t limit)
{
    std::set<std::uint64_t> lows;
    std::set<std::uint64_t> highs;
    std::vector<model_interval_t> out;
    for (model_interval_t interval : randomIntervals(random, count, limit)) {
        if (lows.contains(interval.low) || highs.contains(interval.high)) continue;
        lows.insert(interval.low);
        highs.insert(interval.high);
        interval.id = out.size();
        out.push_back(interval);
    }
    return out;
}

} // namespace samplefold_1::test
