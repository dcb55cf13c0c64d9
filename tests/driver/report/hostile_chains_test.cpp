#include "made_chains.h"

#include <algorithm>

namespace samplefold::report {
namespace {

using rowvault1::Index;
using testing::number;

/// Results that no load writes: every view must end, and tell all samples.
class HostileChainsTest : public testing::MadeChainsTest {
protected:
    /// Labels of the tree's entries with their depth, in order.
    std::string outline()
    {
        std::string lines;
        const auto report = treesJson(TreeKind::tree);
        for (const auto& node : report["events"][0]["nodes"])
            lines += node["depth"].dump() + " " + node["label"].get<std::string>() + "\n";
        return lines;
    }
    std::int64_t countOfAll(TreeKind kind)
    {
        std::int64_t sum = 0;
        const auto report = treesJson(kind);
        for (const auto& node : report["events"][0]["nodes"]) {
            if (node["depth"] == 0) sum += node["count"].get<std::int64_t>();
        }
        return sum;
    }
    Index row(std::int32_t parent, std::uint64_t rva)
    {
        return add("dd_callsite",
                   {{"parent", number(parent)}, {"code_loc", number(place("", rva).value())}});
    }
};

TEST_F(HostileChainsTest, ACircleIsCutWhereItWouldClose)
{
    row(3, 0xa);
    row(1, 0xb);
    sample(row(2, 0xc), 7);
    EXPECT_EQ(outline(), "0 0xa\n1 0xb\n2 0xc\n");
    EXPECT_EQ(countOfAll(TreeKind::tree), 7);
    EXPECT_EQ(countOfAll(TreeKind::callers), 7);
}

TEST_F(HostileChainsTest, AFrameIsNotItsOwnCaller)
{
    sample(row(1, 0xa), 7);
    EXPECT_EQ(outline(), "0 0xa\n");
}

TEST_F(HostileChainsTest, CallersThatAreNotThereAreNone)
{
    sample(row(77, 0xa), 1);
    sample(row(-1, 0xb), 2);
    sample(row(-77, 0xc), 4);
    sample(row(0, 0xd), 8);
    EXPECT_EQ(outline(), "0 0xd\n0 0xc\n0 0xb\n0 0xa\n");
}

TEST_F(HostileChainsTest, SamplesWithoutAChainAreUnknown)
{
    sample(Index(), 3);
    sample(Index(77), 4);
    sample(chain({"main"}), 1);
    EXPECT_EQ(outline(), "0 [unknown]\n0 main\n");
    EXPECT_EQ(countOfAll(TreeKind::tree), 8);
}

TEST_F(HostileChainsTest, AFrameWithoutAPlaceIsUnknown)
{
    sample(frame(chain({"main"}), Index(500)), 3);
    EXPECT_EQ(outline(), "0 main\n1 [unknown]\n");
}

TEST_F(HostileChainsTest, EventsThatAreNotThereHaveTreesWithoutAName)
{
    sample({"main"}, 3, Index(55));
    EXPECT_TRUE(treesJson(TreeKind::tree)["events"][0]["event"].is_null());
    EXPECT_TRUE(trees(TreeKind::tree).starts_with("Event : ")) << trees(TreeKind::tree);
}

TEST_F(HostileChainsTest, ACutChainBeginsWithItsMark)
{
    sample(frame(frame(Index(), place("", 1)), place("", 0xa)), 1);
    EXPECT_EQ(outline(), "0 [chain cut off]\n1 0xa\n");
}

/// Chains of ten thousand frames: recursion over depth would need more stack than there is in the
/// sanitized builds, and nested JSON could not be read back.
class DeepChainsTest : public testing::MadeChainsTest {
protected:
    static constexpr std::size_t depth = 10000;

    /// Same function all the way, or a place of its own for each frame.
    void addChain(bool recursive)
    {
        Index callsite;
        for (std::size_t i = 0; i < depth; ++i)
            callsite = frame(callsite, place("/bin/deep", recursive ? 0x10 : i));
        sample(callsite, 5);
    }
    nlohmann::ordered_json nodes(TreeKind kind) { return treesJson(kind)["events"][0]["nodes"]; }
};

TEST_F(DeepChainsTest, ARecursionIsShownToItsEnd)
{
    addChain(true);
    const auto tree = nodes(TreeKind::tree);
    ASSERT_EQ(tree.size(), depth);
    EXPECT_EQ(tree.back()["depth"], depth - 1);
    EXPECT_EQ(tree.back()["self_count"], 5);
    EXPECT_EQ(nodes(TreeKind::callers).size(), depth);
    const auto callees = nodes(TreeKind::callees);
    ASSERT_EQ(callees.size(), 2U);
    EXPECT_EQ(callees[0]["count"], 5);
    EXPECT_EQ(callees[1]["count"], 5);
}

TEST_F(DeepChainsTest, AChainOfManyFunctionsIsShownToItsEnd)
{
    addChain(false);
    EXPECT_EQ(nodes(TreeKind::tree).size(), depth);
    EXPECT_EQ(nodes(TreeKind::callers).size(), depth);
    const auto callees = treesJson(TreeKind::callees, {1, 0, 0.0})["events"][0]["nodes"];
    EXPECT_EQ(callees.size(), depth + 1) << "the first function, what it called, and a hidden rest";
}

TEST_F(DeepChainsTest, LinesStopMovingToTheRight)
{
    addChain(true);
    const std::string text = trees(TreeKind::tree);
    EXPECT_EQ(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')), depth + 2);
    EXPECT_NE(text.find("(level 10000) deep+0x10\n"), std::string::npos);
    EXPECT_EQ(text.find("(level 41)"), std::string::npos);
    EXPECT_NE(text.find("(level 42)"), std::string::npos);
    EXPECT_LT(text.size(), depth * 150);
}

} // namespace
} // namespace samplefold::report
