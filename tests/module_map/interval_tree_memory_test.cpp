#include "allocation_probe.h"
#include "random_maps.h"
#include "tree_probe.h"

#include <PORTA_2_18/assert.h>
#include <gtest/gtest.h>

#include <new>
#include <type_traits>

// Who owns what, what a failed build leaves behind, and what a query may allocate.
namespace samplefold_1::test {
namespace {

using SegProbe = TreeProbe<SegInstMap>;

static_assert(!std::is_copy_constructible_v<SegInstMap> && !std::is_copy_assignable_v<SegInstMap>);
static_assert(std::is_nothrow_move_constructible_v<SegInstMap>);
static_assert(std::is_nothrow_move_assignable_v<SegInstMap>);
static_assert(std::is_nothrow_default_constructible_v<SegInstMap>);
static_assert(!std::is_copy_constructible_v<ComputeTaskMap>);
static_assert(std::is_nothrow_move_constructible_v<ComputeTaskMap>);
static_assert(std::is_nothrow_move_assignable_v<ComputeTaskMap>);

std::vector<SegInstInfo> someSegments()
{
    std::vector<SegInstInfo> segments;
    for (std::uint64_t i = 0; i < 40; ++i) {
        SegInstInfo& segment = segments.emplace_back();
        setEnds(segment, 5 * i, 5 * i + (i % 8 == 0 ? 40 : 3)); // every eighth lies over others
        segment.unloadTime = 1000;
        segment.modulePath = "/usr/lib/x86_64-linux-gnu/a-name-too-long-to-stay-in-place.so";
    }
    return segments;
}

void expectUnbuilt(const SegProbe& map)
{
    EXPECT_FALSE(map.built);
    EXPECT_EQ(map.root, nullptr);
    EXPECT_EQ(map.nodeCount, 0);
}

/// Asks once with room for `allowed` allocations. True when the query came through.
bool queryWithin(SegProbe& map, std::size_t allowed)
{
    const AllocationLimit limit(allowed);
    try {
        static_cast<void>(map.findSegInst(100, 5));
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

TEST(IntervalTreeMemory, wheneverTheBuildRunsOutOfMemoryTheTreeStaysUnbuiltAndNothingLeaks)
{
    std::size_t failures = 0;
    std::int32_t nodes = 0;
    for (bool built = false; !built;) {
        const auto liveBefore = allocationCounts().live();
        {
            SegProbe map;
            map.values = someSegments();
            built = queryWithin(map, failures);
            if (!built) expectUnbuilt(map);
            nodes = map.nodeCount;
        }
        ASSERT_EQ(allocationCounts().live(), liveBefore) << "allowed " << failures;
        failures += built ? 0U : 1U;
    }
    // Each allocation has failed once: the endpoints, the work pointers, the two runs, every node.
    EXPECT_GT(nodes, 10);
    EXPECT_EQ(failures, 4U + static_cast<std::size_t>(nodes));
}

TEST(IntervalTreeMemory, aQueryAfterAFailedBuildBuildsTheWholeTree)
{
    SegProbe map;
    map.values = someSegments();
    ASSERT_FALSE(queryWithin(map, 12));
    EXPECT_NE(map.findSegInst(100, 5), nullptr);
    EXPECT_EQ(map.violation(), "");
}

struct handler_failure_t {};

[[noreturn]] void failOnAssertion(const PORTA_2_18::debug::assertion_t&)
{
    throw handler_failure_t{};
}

TEST(IntervalTreeMemory, anAssertionHandlerThatThrowsLeavesTheTreeUnbuiltAndNothingLeaks)
{
    const auto former = PORTA_2_18::debug::setAssertionHandler(&failOnAssertion);
    const auto liveBefore = allocationCounts().live();
    {
        SegProbe map;
        map.values = someSegments();
        setEnds(map.values.emplace_back(), 300, 250);
        EXPECT_THROW(map.findSegInst(100, 5), handler_failure_t);
        expectUnbuilt(map);
    }
    EXPECT_EQ(allocationCounts().live(), liveBefore);
    PORTA_2_18::debug::setAssertionHandler(former);
}

TEST(IntervalTreeMemory, queriesAllocateNothingOnceTheTreeStands)
{
    SegInstMap segments;
    segments.values = someSegments();
    ComputeTaskMap tasks;
    tasks.values = {{0, 100}, {50, 150}, {200, 210}};
    static_cast<void>(segments.findSegInst(0, 0));
    static_cast<void>(tasks.findComputeTask(0, 0));

    const auto before = allocationCounts().allocations;
    std::size_t found = 0;
    for (std::uint64_t point = 0; point < 250; ++point) {
        found += segments.findSegInst(point, 5) != nullptr ? 1U : 0U;
        found += tasks.findComputeTask(point, 0) ? 1U : 0U;
    }
    EXPECT_EQ(allocationCounts().allocations, before);
    EXPECT_GT(found, 250U);
}

TEST(IntervalTreeMemory, destructionFreesTheTreeAndTheTextsOfItsRecords)
{
    const auto liveBefore = allocationCounts().live();
    {
        SegInstMap map;
        map.values = someSegments();
        EXPECT_NE(map.findSegInst(100, 5), nullptr);
    }
    EXPECT_EQ(allocationCounts().live(), liveBefore);
}

TEST(IntervalTreeMemory, aMovedMapGivesTheSameRecordsAndLeavesAnEmptySource)
{
    SegProbe source;
    source.values = someSegments();
    const SegInstInfo* const answer = source.findSegInst(100, 5);
    ASSERT_NE(answer, nullptr);

    SegProbe target(std::move(source));
    EXPECT_EQ(target.violation(), "");
    EXPECT_EQ(target.findSegInst(100, 5), answer);
    expectUnbuilt(source);
    EXPECT_TRUE(source.values.empty());
    EXPECT_EQ(source.findSegInst(100, 5), nullptr);
}

TEST(IntervalTreeMemory, moveAssignmentDropsTheFormerTreeAndKeepsTheNewRecordsInPlace)
{
    SegProbe source;
    source.values = someSegments();
    const SegInstInfo* const answer = source.findSegInst(100, 5);
    SegProbe target;
    target.values = someSegments();
    ASSERT_NE(target.findSegInst(100, 5), nullptr);

    target = std::move(source);
    EXPECT_EQ(target.findSegInst(100, 5), answer);
    EXPECT_EQ(target.violation(), "");
    expectUnbuilt(source);
    EXPECT_TRUE(source.values.empty());
}

TEST(IntervalTreeMemory, aMapThatWasMovedAwayCanBeFilledAnew)
{
    SegProbe source;
    source.values = someSegments();
    ASSERT_NE(source.findSegInst(100, 5), nullptr);
    const SegProbe target(std::move(source));

    source.values = {SegInstInfo{.lowAddress = 7, .highAddress = 7, .unloadTime = 10}};
    EXPECT_EQ(source.findSegInst(7, 5), &source.values[0]);
    EXPECT_EQ(source.violation(), "");
}

} // namespace
} // namespace samplefold_1::test
