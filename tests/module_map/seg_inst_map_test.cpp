#include "random_maps.h"
#include "tree_probe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace samplefold_1::test {
namespace {

constexpr std::uint64_t g_forever = std::numeric_limits<std::uint64_t>::max();

SegInstInfo segment(std::uint64_t low, std::uint64_t high, std::uint64_t load, std::uint64_t unload)
{
    SegInstInfo out;
    setEnds(out, low, high);
    out.loadTime = load;
    out.unloadTime = unload;
    return out;
}

/// Position in `values` of the answer, -1 for null.
std::ptrdiff_t found(SegInstMap& map, std::uint64_t point, std::uint64_t time)
{
    const SegInstInfo* const answer = map.findSegInst(point, time);
    return answer == nullptr ? -1 : answer - map.values.data();
}

TEST(SegInstMap, anEmptyMapFindsNothing)
{
    SegInstMap map;
    EXPECT_EQ(map.findSegInst(0, 0), nullptr);
    EXPECT_EQ(map.findSegInst(g_forever, 0), nullptr);
}

TEST(SegInstMap, aSegmentOfOneByteIsFoundAtItsAddressOnly)
{
    SegInstMap map;
    map.values = {segment(4096, 4096, 0, g_forever)};
    EXPECT_EQ(found(map, 4096, 1), 0);
    EXPECT_EQ(found(map, 4095, 1), -1);
    EXPECT_EQ(found(map, 4097, 1), -1);
}

TEST(SegInstMap, bothEndsOfTheRangeAreInclusive)
{
    SegInstMap map;
    map.values = {segment(100, 199, 0, g_forever), segment(300, 399, 0, g_forever)};
    EXPECT_EQ(found(map, 99, 1), -1);
    EXPECT_EQ(found(map, 100, 1), 0);
    EXPECT_EQ(found(map, 199, 1), 0);
    EXPECT_EQ(found(map, 200, 1), -1);
    EXPECT_EQ(found(map, 300, 1), 1);
    EXPECT_EQ(found(map, 399, 1), 1);
    EXPECT_EQ(found(map, 400, 1), -1);
}

TEST(SegInstMap, ofTwoInstancesOfOneRangeTheLatestLoadedValidOneIsFound)
{
    SegInstMap map;
    map.values = {segment(0x1000, 0x1fff, 100, 300), segment(0x1000, 0x1fff, 200, 400)};
    EXPECT_EQ(found(map, 0x1800, 99), -1);
    EXPECT_EQ(found(map, 0x1800, 150), 0);
    EXPECT_EQ(found(map, 0x1800, 250), 1);
    EXPECT_EQ(found(map, 0x1800, 300), 1);
    EXPECT_EQ(found(map, 0x1800, 399), 1);
    EXPECT_EQ(found(map, 0x1800, 400), -1);
}

TEST(SegInstMap, theLoadTimeIsInclusiveAndTheUnloadTimeExclusive)
{
    SegInstMap map;
    map.values = {segment(10, 20, 100, 200)};
    EXPECT_EQ(found(map, 15, 99), -1);
    EXPECT_EQ(found(map, 15, 100), 0);
    EXPECT_EQ(found(map, 15, 199), 0);
    EXPECT_EQ(found(map, 15, 200), -1);
}

TEST(SegInstMap, anInstanceThatEndsAsItStartsIsNeverFound)
{
    SegInstMap map;
    map.values = {segment(10, 20, 100, 100)};
    EXPECT_EQ(found(map, 15, 100), -1);
}

TEST(SegInstMap, anInstanceLoadedAtTickZeroIsFound)
{
    SegInstMap map;
    map.values = {segment(10, 20, 0, 5)};
    EXPECT_EQ(found(map, 15, 0), 0);
}

TEST(SegInstMap, onEqualLoadTimeRightOfTheCenterTheOneThatEndsFirstIsFound)
{
    SegInstMap map; // center 40
    map.values = {segment(0, 60, 5, 9), segment(40, 100, 5, 9)};
    EXPECT_EQ(found(map, 50, 5), 0);
    std::swap(map.values[0], map.values[1]);
    SegInstMap swapped;
    swapped.values = map.values;
    EXPECT_EQ(found(swapped, 50, 5), 1);
}

TEST(SegInstMap, onEqualLoadTimeLeftOfTheCenterTheOneThatStartsLastIsFound)
{
    SegInstMap map; // center 60
    map.values = {segment(0, 60, 5, 9), segment(40, 100, 5, 9), segment(200, 200, 5, 9)};
    EXPECT_EQ(found(map, 50, 5), 1);
}

TEST(SegInstMap, onEqualLoadTimeAtTheCenterTheOneThatStartsLastIsFound)
{
    SegInstMap map; // center 40
    map.values = {segment(40, 100, 5, 9), segment(0, 60, 5, 9)};
    EXPECT_EQ(found(map, 40, 5), 0);
}

TEST(SegInstMap, onEqualLoadTimeTheDeeperNodeWins)
{
    SegInstMap map; // center 60 holds the long segment, a leaf on its left the short one
    map.values = {segment(20, 60, 5, 9), segment(10, 11, 5, 9), segment(30, 31, 5, 9),
                  segment(70, 71, 5, 9), segment(80, 81, 5, 9), segment(90, 91, 5, 9)};
    EXPECT_EQ(found(map, 30, 5), 2);
    EXPECT_EQ(found(map, 29, 5), 0);
}

TEST(SegInstMap, aLaterLoadInAnUpperNodeBeatsADeeperNode)
{
    SegInstMap map;
    map.values = {segment(20, 60, 6, 9), segment(10, 11, 5, 9), segment(30, 31, 5, 9),
                  segment(70, 71, 5, 9), segment(80, 81, 5, 9), segment(90, 91, 5, 9)};
    EXPECT_EQ(found(map, 30, 6), 0);
    EXPECT_EQ(found(map, 30, 5), 2);
}

TEST(SegInstMap, aQueryOnTheCenterOfANodeWithoutSegmentsFindsNothing)
{
    TreeProbe<SegInstMap>
        map; // the segment that starts at 20 stands in the root and is not valid yet
    map.values = {segment(20, 60, 7, 9), segment(10, 11, 5, 9), segment(30, 31, 5, 9),
                  segment(70, 71, 5, 9), segment(80, 81, 5, 9), segment(90, 91, 5, 9)};
    EXPECT_EQ(found(map, 20, 5), -1);
    ASSERT_NE(map.root->left, nullptr);
    EXPECT_EQ(map.root->left->center, 20U);
    EXPECT_EQ(map.root->left->count, 0);
}

TEST(SegInstMap, anUnloadTimeLoweredInPlaceIsSeenByLaterQueries)
{
    SegInstMap map;
    map.values = {segment(10, 20, 100, 300), segment(10, 20, 50, 400)};
    ASSERT_EQ(found(map, 15, 200), 0);
    map.values[0].unloadTime = 149;
    EXPECT_EQ(found(map, 15, 200), 1);
    EXPECT_EQ(found(map, 15, 148), 0);
}

// --- against the model ---

struct random_map_t {
    std::vector<model_interval_t> intervals;
    TreeProbe<SegInstMap> map;
};

void fillTimes(std::mt19937_64& random, SegInstMap& map, bool distinctLoadTimes)
{
    for (std::size_t i = 0; i < map.values.size(); ++i) {
        const std::uint64_t load = distinctLoadTimes ? 3 * i : randomIn(random, 0, 4);
        map.values[i].loadTime = load;
        map.values[i].unloadTime = load + randomIn(random, 0, distinctLoadTimes ? 120 : 4);
    }
    if (distinctLoadTimes) {
        // Load order must say nothing about address order.
        for (std::size_t i = map.values.size(); i > 1; --i) {
            SegInstInfo& other = map.values[randomIn(random, 0, i - 1)];
            std::swap(map.values[i - 1].loadTime, other.loadTime);
            std::swap(map.values[i - 1].unloadTime, other.unloadTime);
        }
    }
}

random_map_t randomMap(std::mt19937_64& random, std::vector<model_interval_t> intervals,
                       bool distinctLoadTimes)
{
    random_map_t out;
    out.intervals = std::move(intervals);
    out.map.values = storedAs<SegInstInfo>(out.intervals);
    fillTimes(random, out.map, distinctLoadTimes);
    return out;
}

/// The last one of the latest load among the valid ones of `candidates`, -1 when there is none.
std::ptrdiff_t lastOfLatest(const SegInstMap& map, const std::vector<std::size_t>& candidates,
                            std::uint64_t time)
{
    std::vector<std::pair<std::uint64_t, std::size_t>> byLoadThenOrder;
    for (std::size_t order = 0; order < candidates.size(); ++order) {
        const SegInstInfo& candidate = map.values[candidates[order]];
        if (time >= candidate.loadTime && time < candidate.unloadTime)
            byLoadThenOrder.emplace_back(candidate.loadTime, order);
    }
    if (byLoadThenOrder.empty()) return -1;
    const auto winner = *std::max_element(byLoadThenOrder.begin(), byLoadThenOrder.end());
    return static_cast<std::ptrdiff_t>(candidates[winner.second]);
}

TEST(SegInstMap, randomMapsWithManyEqualLoadTimesAnswerAsTheModelOfTheWalk)
{
    std::mt19937_64 random(41);
    std::size_t hits = 0;
    for (int round = 0; round < 60; ++round) {
        auto [intervals, map] = randomMap(
            random, randomIntervalsWithoutTies(random, randomIn(random, 0, 50), 90), false);
        for (std::uint64_t point = 0; point <= 91; ++point) {
            const auto order = modelWalk(intervals, point);
            for (std::uint64_t time = 0; time <= 9; ++time) {
                const std::ptrdiff_t expected = lastOfLatest(map, order, time);
                hits += expected >= 0 ? 1U : 0U;
                ASSERT_EQ(found(map, point, time), expected)
                    << "round " << round << ", point " << point << ", time " << time;
            }
        }
        ASSERT_EQ(map.violation(), "");
    }
    EXPECT_GT(hits, 10000U);
}

TEST(SegInstMap, randomMapsWithDistinctLoadTimesAnswerAsAPlainScan)
{
    std::mt19937_64 random(42);
    std::size_t hits = 0;
    for (int round = 0; round < 60; ++round) {
        auto [intervals, map] =
            randomMap(random, randomIntervals(random, randomIn(random, 0, 50), 40), true);
        for (std::uint64_t point = 0; point <= 41; ++point) {
            const auto holders = modelScan(intervals, point);
            for (std::uint64_t time = 0; time <= 200; time += 7) {
                const std::ptrdiff_t expected = lastOfLatest(map, holders, time);
                hits += expected >= 0 ? 1U : 0U;
                ASSERT_EQ(found(map, point, time), expected)
                    << "round " << round << ", point " << point << ", time " << time;
            }
        }
        ASSERT_EQ(map.violation(), "");
    }
    EXPECT_GT(hits, 10000U);
}

} // namespace
} // namespace samplefold_1::test
