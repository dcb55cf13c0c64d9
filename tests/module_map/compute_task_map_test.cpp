#include "random_maps.h"
#include "tree_probe.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

namespace samplefold_1::test {
namespace {

/// The map with its memo laid open.
class TaskProbe : public TreeProbe<ComputeTaskMap> {
public:
    using ComputeTaskMap::lastPoint;
    using ComputeTaskMap::lastTask;

    /// Position in `values` of the task at `point`, -1 for none.
    std::ptrdiff_t found(std::uint64_t point)
    {
        const ComputeTaskHandle task = findComputeTask(point, 0);
        return task ? task.get() - values.data() : -1;
    }
};

static_assert(sizeof(ComputeTaskHandle) == sizeof(void*));
static_assert(std::is_trivially_copyable_v<ComputeTaskHandle>);

TEST(ComputeTaskMap, anEmptyMapGivesNullHandles)
{
    ComputeTaskMap map;
    EXPECT_TRUE(map.findComputeTask(0, 0).isNull());
    EXPECT_TRUE(map.findComputeTask(5, 0).isNull());
    EXPECT_EQ(map.findComputeTask(5, 0), ComputeTaskHandle());
}

TEST(ComputeTaskMap, bothEndsOfATaskAreInclusive)
{
    TaskProbe map;
    map.values = {{10, 20}};
    EXPECT_EQ(map.found(9), -1);
    EXPECT_EQ(map.found(10), 0);
    EXPECT_EQ(map.found(20), 0);
    EXPECT_EQ(map.found(21), -1);
}

TEST(ComputeTaskMap, theHandleReachesTheTaskAndWhatTheCallerTiedToIt)
{
    ComputeTaskMap map;
    map.values = {{10, 20, 77}};
    const ComputeTaskHandle task = map.findComputeTask(15, 0);
    ASSERT_TRUE(task);
    EXPECT_EQ(task->callerData, 77U);
    EXPECT_EQ((*task).low(), 10U);
    EXPECT_EQ(task->high(), 20U);
}

TEST(ComputeTaskMap, theSecondArgumentIsIgnored)
{
    ComputeTaskMap map;
    map.values = {{10, 20}, {30, 40}};
    const ComputeTaskHandle task = map.findComputeTask(15, 35);
    EXPECT_EQ(task.get(), &map.values[0]);
    static_cast<void>(map.findComputeTask(1, 1));
    EXPECT_EQ(map.findComputeTask(15, 0), task);
}

TEST(ComputeTaskMap, theDeepestTaskInTheTreeWins)
{
    TaskProbe map; // the long task stands in the root, at 60; the short ones below it
    map.values = {{20, 60}, {10, 11}, {30, 31}, {70, 71}, {80, 81}, {90, 91}};
    EXPECT_EQ(map.found(30), 2);
    EXPECT_EQ(map.found(40), 0);
}

TEST(ComputeTaskMap, withinANodeTheLastOfTheRunWins)
{
    TaskProbe map; // center 40
    map.values = {{0, 60}, {40, 100}};
    EXPECT_EQ(map.found(40), 1);
    EXPECT_EQ(map.found(50), 0);
    EXPECT_EQ(map.found(70), 1);
    EXPECT_EQ(map.found(10), 0);
}

TEST(ComputeTaskMap, theMemoStartsAtTickZeroWithNoTask)
{
    const TaskProbe map;
    EXPECT_EQ(map.lastPoint, 0U);
    EXPECT_EQ(map.lastTask, nullptr);
}

TEST(ComputeTaskMap, aFirstQueryAtTickZeroFindsTheTaskThere)
{
    TaskProbe map;
    map.values = {{5, 9}, {0, 3}};
    EXPECT_EQ(map.found(0), 1);
    EXPECT_EQ(map.found(0), 1);
}

TEST(ComputeTaskMap, theFirstQueryElsewhereIsNotAnsweredWithTheTaskAtTickZero)
{
    TaskProbe map;
    map.values = {{5, 9}, {0, 3}};
    EXPECT_EQ(map.found(7), 0);
    EXPECT_EQ(map.found(0), 1);
}

TEST(ComputeTaskMap, aQueryAtThePointOfTheMemoDoesNotWalk)
{
    TaskProbe map;
    map.values = {{10, 20}, {30, 40}};
    ASSERT_EQ(map.found(15), 0);
    map.lastTask = &map.values[1]; // only an answer from the memo can be this wrong
    EXPECT_EQ(map.found(15), 1);
    EXPECT_EQ(map.found(16), 0);
    EXPECT_EQ(map.found(15), 0);
}

TEST(ComputeTaskMap, aNullAnswerIsRememberedToo)
{
    TaskProbe map;
    map.values = {{10, 20}};
    ASSERT_EQ(map.found(25), -1);
    EXPECT_EQ(map.lastPoint, 25U);
    EXPECT_EQ(map.lastTask, nullptr);
    map.lastPoint = 15; // a walk would find the task
    EXPECT_EQ(map.found(15), -1);
}

TEST(ComputeTaskMap, aMoveTakesTheMemoAlongAndResetsTheSource)
{
    TaskProbe source;
    source.values = {{10, 20}};
    ASSERT_EQ(source.found(15), 0);
    TaskProbe target(std::move(source));
    EXPECT_EQ(target.lastTask, target.values.data());
    EXPECT_EQ(target.found(15), 0);
    EXPECT_EQ(source.lastPoint, 0U);
    EXPECT_EQ(source.lastTask, nullptr);
    EXPECT_EQ(source.found(15), -1);
}

TEST(ComputeTaskMap, moveAssignmentTakesTheMemoAlongAndResetsTheSource)
{
    TaskProbe source;
    source.values = {{10, 20}};
    ASSERT_EQ(source.found(15), 0);
    TaskProbe target;
    target.values = {{15, 15}};
    ASSERT_EQ(target.found(15), 0);
    target = std::move(source);
    EXPECT_EQ(target.found(20), 0);
    EXPECT_EQ(target.values.at(0).low(), 10U);
    EXPECT_EQ(source.lastPoint, 0U);
    EXPECT_EQ(source.lastTask, nullptr);
    EXPECT_EQ(source.found(15), -1);
}

TEST(ComputeTaskMap, randomMapsAnswerWithTheLastTaskOfTheModelOfTheWalk)
{
    std::mt19937_64 random(51);
    std::size_t hits = 0;
    for (int round = 0; round < 150; ++round) {
        const auto intervals = randomIntervalsWithoutTies(random, randomIn(random, 0, 60), 150);
        TaskProbe map;
        map.values = storedAs<ComputeTaskInfo>(intervals);
        for (int query = 0; query < 300; ++query) {
            const std::uint64_t point = randomIn(random, 0, 152);
            const auto order = modelWalk(intervals, point);
            const auto expected = order.empty() ? -1 : static_cast<std::ptrdiff_t>(order.back());
            hits += order.empty() ? 0U : 1U;
            ASSERT_EQ(map.found(point), expected) << "round " << round << ", point " << point;
        }
        ASSERT_EQ(map.violation(), "");
    }
    EXPECT_GT(hits, 20000U);
}

} // namespace
} // namespace samplefold_1::test
