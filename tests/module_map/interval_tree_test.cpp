#include "assertion_recorder.h"
#include "random_maps.h"
#include "tree_probe.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <utility>

namespace samplefold_1::test {
namespace {

using Tree = TreeProbe<IntervalTree<ComputeTaskInfo>>;
using Positions = std::vector<std::size_t>;

constexpr std::uint64_t g_last = std::numeric_limits<std::uint64_t>::max();

Tree treeOf(std::vector<ComputeTaskInfo> intervals)
{
    Tree tree;
    tree.values = std::move(intervals);
    tree.ensureBuilt();
    return tree;
}

/// Three short intervals under one long one, and three more to the right: the median of the left
/// half is the start of the long one, which stands in the root, so the node at 20 has children but
/// no interval.
std::vector<ComputeTaskInfo> intervalsWithEmptyNodeAt20()
{
    return {{20, 60}, {10, 11}, {30, 31}, {70, 71}, {80, 81}, {90, 91}};
}

TEST(IntervalTree, anEmptyTreeIsBuiltWithoutNodes)
{
    Tree tree;
    EXPECT_FALSE(tree.built);
    EXPECT_EQ(tree.visited(0), Positions{});
    EXPECT_TRUE(tree.built);
    EXPECT_EQ(tree.root, nullptr);
    EXPECT_EQ(tree.nodeCount, 0);
    EXPECT_EQ(tree.violation(), "");
}

TEST(IntervalTree, anEmptyListOfPointsGivesNoSubtreeWhateverTheIntervals)
{
    Tree tree;
    tree.values = {{1, 2}};
    std::vector<ComputeTaskInfo*> intervals{&tree.values[0]};
    std::int32_t next = 7;
    EXPECT_EQ(tree.constructTree(intervals, 0, 1, {}, next, 0, -1), nullptr);
    EXPECT_EQ(next, 7);
    EXPECT_EQ(tree.nodeCount, 0);
}

TEST(IntervalTree, endpointsAreDistinctAndAscending)
{
    Tree tree;
    tree.values = {{30, 40}, {5, 30}, {40, 40}, {0, g_last}};
    std::vector<std::uint64_t> points{99};
    tree.extractValues(points);
    EXPECT_EQ(points, (std::vector<std::uint64_t>{0, 5, 30, 40, g_last}));
}

TEST(IntervalTree, aPointIntervalIsOneNodeCenteredOnIt)
{
    Tree tree = treeOf({{42, 42}});
    ASSERT_NE(tree.root, nullptr);
    EXPECT_EQ(tree.root->center, 42U);
    EXPECT_EQ(tree.root->count, 1);
    EXPECT_EQ(tree.nodeCount, 1);
    EXPECT_EQ(tree.visited(42), Positions{0});
    EXPECT_EQ(tree.visited(41), Positions{});
    EXPECT_EQ(tree.visited(43), Positions{});
}

TEST(IntervalTree, theCenterIsTheLowerMedianOfTheEndpoints)
{
    Tree tree = treeOf({{0, 60}, {40, 100}});
    ASSERT_NE(tree.root, nullptr);
    EXPECT_EQ(tree.root->center, 40U);
    EXPECT_EQ(tree.root->count, 2);
}

TEST(IntervalTree, rightOfTheCenterTheWalkGoesByDescendingHigh)
{
    Tree tree = treeOf({{0, 60}, {40, 100}});
    EXPECT_EQ(tree.visited(50), (Positions{1, 0}));
    EXPECT_EQ(tree.visited(61), (Positions{1}));
}

TEST(IntervalTree, leftOfTheCenterTheWalkGoesByAscendingLow)
{
    Tree tree = treeOf({{40, 100}, {0, 60}, {200, 200}});
    ASSERT_EQ(tree.root->center, 60U);
    EXPECT_EQ(tree.visited(50), (Positions{1, 0}));
    EXPECT_EQ(tree.visited(39), (Positions{1}));
}

TEST(IntervalTree, atTheCenterTheWalkVisitsTheWholeNodeByAscendingLow)
{
    Tree tree = treeOf({{40, 100}, {0, 60}, {20, 45}});
    ASSERT_EQ(tree.root->center, 40U);
    EXPECT_EQ(tree.visited(40), (Positions{1, 2, 0}));
}

TEST(IntervalTree, theWalkGoesFromTheRootTowardsTheLeaf)
{
    Tree tree = treeOf(intervalsWithEmptyNodeAt20());
    EXPECT_EQ(tree.visited(30), (Positions{0, 2}));
}

TEST(IntervalTree, aNodeThatOnlyJoinsTwoSubtreesStaysAndEndsTheWalkAtItsCenter)
{
    Tree tree = treeOf(intervalsWithEmptyNodeAt20());
    ASSERT_NE(tree.root, nullptr);
    ASSERT_NE(tree.root->left, nullptr);
    EXPECT_EQ(tree.root->center, 60U);
    EXPECT_EQ(tree.root->left->center, 20U);
    EXPECT_EQ(tree.root->left->count, 0);
    EXPECT_EQ(tree.visited(20), Positions{0});
    EXPECT_EQ(tree.violation(), "");
}

TEST(IntervalTree, theFirstAndTheLastNumberAreOrdinaryEnds)
{
    Tree tree = treeOf({{0, 0}, {g_last, g_last}, {0, g_last}});
    EXPECT_EQ(tree.visited(0).size(), 2U);
    EXPECT_EQ(tree.visited(1), Positions{2});
    EXPECT_EQ(tree.visited(g_last - 1), Positions{2});
    EXPECT_EQ(tree.visited(g_last).size(), 2U);
    EXPECT_EQ(tree.violation(), "");
}

TEST(IntervalTree, theOrdersLookAtOneEndOnlyAndAreStrict)
{
    const ComputeTaskInfo shortTask{10, 20};
    const ComputeTaskInfo longTask{10, 30};
    const ComputeTaskInfo lateTask{15, 30};
    EXPECT_FALSE(Tree::compForAl(&shortTask, &longTask));
    EXPECT_FALSE(Tree::compForAl(&longTask, &shortTask));
    EXPECT_TRUE(Tree::compForAl(&longTask, &lateTask));
    EXPECT_FALSE(Tree::compForDh(&longTask, &lateTask));
    EXPECT_FALSE(Tree::compForDh(&lateTask, &longTask));
    EXPECT_TRUE(Tree::compForDh(&longTask, &shortTask));
}

TEST(IntervalTree, anIntervalThatEndsBeforeItStartsFiresAndIsNeverFound)
{
    const AssertionRecorder recorder;
    Tree tree = treeOf({{10, 5}});
    // Once at the center 5, and once at the center 10 to the right of it.
    const std::string text = "invls[i]->low() <= invls[i]->high()";
    EXPECT_EQ(recorder.expressions(), (std::vector<std::string>{text, text}));
    EXPECT_EQ(tree.nodeCount, 0);
    for (std::uint64_t point = 0; point < 20; ++point)
        EXPECT_EQ(tree.visited(point), Positions{});
    EXPECT_TRUE(tree.built);
}

TEST(IntervalTree, anIntervalThatEndsBeforeItStartsLeavesTheOthersFindable)
{
    const AssertionRecorder recorder;
    Tree tree = treeOf({{0, 8}, {10, 5}, {6, 30}, {9, 9}});
    EXPECT_FALSE(recorder.expressions().empty());
    EXPECT_EQ(tree.visited(3), Positions{0});
    EXPECT_EQ(tree.visited(7).size(), 2U);
    EXPECT_EQ(tree.visited(9).size(), 2U);
    EXPECT_EQ(tree.visited(10), Positions{2});
}

TEST(IntervalTree, soundIntervalsFireNothing)
{
    const AssertionRecorder recorder;
    std::mt19937_64 random(3);
    treeOf(storedAs<ComputeTaskInfo>(randomIntervals(random, 300, 1000)));
    EXPECT_TRUE(recorder.expressions().empty());
}

TEST(IntervalTree, everyRandomBuildKeepsTheInvariants)
{
    std::mt19937_64 random(20);
    for (int round = 0; round < 400; ++round) {
        const std::size_t count = randomIn(random, 0, 80);
        const std::uint64_t limit = randomIn(random, 0, 120);
        const Tree tree = treeOf(storedAs<ComputeTaskInfo>(randomIntervals(random, count, limit)));
        ASSERT_EQ(tree.violation(), "") << "round " << round;
    }
}

TEST(IntervalTree, theWalkVisitsWhatTheModelVisitsInTheSameOrder)
{
    std::mt19937_64 random(21);
    for (int round = 0; round < 120; ++round) {
        const auto intervals = randomIntervalsWithoutTies(random, randomIn(random, 0, 60), 150);
        Tree tree = treeOf(storedAs<ComputeTaskInfo>(intervals));
        for (std::uint64_t point = 0; point <= 151; ++point)
            ASSERT_EQ(tree.visited(point), modelWalk(intervals, point))
                << "round " << round << ", point " << point;
    }
}

TEST(IntervalTree, amongTiedEndsTheWalkStillVisitsExactlyTheHolders)
{
    std::mt19937_64 random(22);
    for (int round = 0; round < 120; ++round) {
        const auto intervals = randomIntervals(random, randomIn(random, 0, 60), 30);
        Tree tree = treeOf(storedAs<ComputeTaskInfo>(intervals));
        for (std::uint64_t point = 0; point <= 31; ++point) {
            Positions visited = tree.visited(point);
            std::sort(visited.begin(), visited.end());
            ASSERT_EQ(visited, modelScan(intervals, point)) << "round " << round;
        }
    }
}

void expectLogarithmicDepth(const Tree& tree)
{
    std::vector<std::uint64_t> points;
    tree.extractValues(points);
    EXPECT_LE(tree.depth(), static_cast<std::size_t>(std::bit_width(points.size())));
    EXPECT_EQ(tree.violation(), "");
}

TEST(IntervalTree, theDepthIsLogarithmicForEveryShapeOfInput)
{
    constexpr std::uint64_t count = 3000;
    std::vector<ComputeTaskInfo> disjoint;
    std::vector<ComputeTaskInfo> nested;
    std::vector<ComputeTaskInfo> stairs;
    for (std::uint64_t i = 0; i < count; ++i) {
        disjoint.push_back({10 * i, 10 * i + 9});
        nested.push_back({i, 2 * count - i});
        stairs.push_back({10 * i, 10 * i + 25});
    }
    std::mt19937_64 random(23);
    expectLogarithmicDepth(treeOf(disjoint));
    expectLogarithmicDepth(treeOf(nested));
    expectLogarithmicDepth(treeOf(stairs));
    expectLogarithmicDepth(
        treeOf(storedAs<ComputeTaskInfo>(randomIntervals(random, 3000, g_last))));
}

TEST(IntervalTree, positionsOfTheLargestTreeFitTheirType)
{
    EXPECT_LE(2 * Tree::maxIntervals,
              static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()));
}

} // namespace
} // namespace samplefold_1::test
