#include "branch_fixture.h"

namespace samplefold::load::testing {
namespace {

class BranchResolverTest : public BranchTest {};

const std::vector<std::pair<std::string, std::string>> g_fromStart{
    {"work_calls_leaf", "leaf"}, {"main_calls_work", "work"}, {"start_calls_main", "main"}};

TEST_F(BranchResolverTest, RecordsContinueAChainThatWasCut)
{
    const BranchTask done = resolved(task({"leaf_middle", "work_after_leaf", "..."}, g_fromStart));
    EXPECT_EQ(addressesOf(done),
              chain({"leaf_middle", "work_after_leaf", "main_after_work", "start_after_main"}))
        << "up to _start, which is outermost";
    EXPECT_EQ(done.source, ChainSource::merged);
    EXPECT_TRUE(done.isComplete);
    EXPECT_EQ(done.verdicts, "sss");
}

TEST_F(BranchResolverTest, AChainThatIsCompleteStays)
{
    const std::vector<std::string> whole{"leaf_middle", "work_after_leaf", "main_after_work",
                                         "start_after_main"};
    const BranchTask done = resolved(task(whole, g_fromStart));
    EXPECT_EQ(addressesOf(done), chain(whole));
    EXPECT_EQ(done.source, ChainSource::software);
    EXPECT_EQ(done.merge, samplefold_1::merge_outcome_t::notNecessary);
}

TEST_F(BranchResolverTest, AnOpenEndIsMarked)
{
    const BranchTask done = resolved(task({"leaf_middle", "work_after_leaf"}, {}));
    EXPECT_EQ(addressesOf(done), chain({"leaf_middle", "work_after_leaf", "..."}));
    EXPECT_FALSE(done.isComplete);
}

TEST_F(BranchResolverTest, AFrameBehindNoCallEndsTheSoftwareChain)
{
    const BranchTask done =
        resolved(task({"leaf_middle", "work_after_leaf", "hop_jumps", "start_after_main"}, {}));
    EXPECT_EQ(addressesOf(done), chain({"leaf_middle", "work_after_leaf", "..."}));
}

TEST_F(BranchResolverTest, AFrameWhoseCallLeadsElsewhereEndsTheSoftwareChain)
{
    const BranchTask done =
        resolved(task({"leaf_middle", "main_after_work", "start_after_main"}, {}));
    EXPECT_EQ(addressesOf(done), chain({"leaf_middle", "..."})) << "main calls work, not leaf";
}

TEST_F(BranchResolverTest, ACallerThatWasLeftOutIsFilledIn)
{
    const BranchTask done = resolved(
        task({"count_ends", "count_returns", "main_after_count"}, {{"count_calls_count", "count"},
                                                                   {"count_calls_count", "count"},
                                                                   {"main_calls_count", "count"}}));
    EXPECT_EQ(addressesOf(done),
              chain({"count_ends", "count_returns", "count_returns", "main_after_count", "..."}));
    EXPECT_EQ(done.source, ChainSource::merged);
}

TEST_F(BranchResolverTest, FramesOfTheKernelPairWithNoRecord)
{
    BranchTask made = task(
        {"kernel:leaf_middle", "kernel:work_after_leaf", "leaf_middle", "work_after_leaf", "..."},
        g_fromStart);
    made.software[0].space = made.software[1].space = Space::kernel;
    const BranchTask done = resolved(made);
    EXPECT_EQ(addressesOf(done),
              chain({"kernel:leaf_middle", "kernel:work_after_leaf", "leaf_middle",
                     "work_after_leaf", "main_after_work", "start_after_main"}))
        << "nor does the address at which the kernel was entered";
    EXPECT_EQ(done.verdicts, "kss");
    EXPECT_EQ(done.source, ChainSource::merged);
}

TEST_F(BranchResolverTest, VerifyingTakesTheLongerOfTheTwo)
{
    const BranchOptions verify{BranchUse::verify, true};
    const BranchTask byRecords =
        resolved(task({"leaf_middle", "work_after_leaf", "..."}, g_fromStart), verify);
    EXPECT_EQ(byRecords.source, ChainSource::records);
    EXPECT_EQ(addressesOf(byRecords),
              chain({"leaf_middle", "work_after_leaf", "main_after_work", "start_after_main"}));
    const BranchTask bySoftware = resolved(
        task({"leaf_middle", "work_after_leaf", "..."}, {{"work_calls_leaf", "leaf"}}), verify);
    EXPECT_EQ(bySoftware.source, ChainSource::software);
}

TEST_F(BranchResolverTest, RawRecordsStandInForAMissingChain)
{
    const BranchTask done = resolved(task({"leaf_middle"}, g_fromStart), {BranchUse::raw, true});
    EXPECT_EQ(addressesOf(done),
              chain({"leaf_middle", "work_calls_leaf", "main_calls_work", "start_calls_main"}));
    EXPECT_EQ(done.callFrames, (std::vector<std::size_t>{1, 2, 3})) << "addresses of the calls";
    EXPECT_EQ(done.verdicts, "");
}

TEST_F(BranchResolverTest, WithoutDecodingFramesFromRecordsAreTheCallsThemselves)
{
    const BranchTask done =
        resolved(task({"leaf_middle", "..."}, g_fromStart), {BranchUse::merge, false});
    EXPECT_EQ(addressesOf(done),
              chain({"leaf_middle", "work_calls_leaf", "main_calls_work", "start_calls_main"}));
    EXPECT_EQ(done.callFrames, (std::vector<std::size_t>{1, 2, 3}));
}

TEST_F(BranchResolverTest, AModuleWithoutAFileIsToldApart)
{
    constexpr std::uint64_t base = 0x400000;
    mapAs(process, "/nowhere/program", base, base + 0xfff, 0);
    BranchTask made = task({"leaf_middle"}, {});
    made.ip = base + 0x10;
    made.software = {{Space::user, made.ip}};
    made.records = {{base + 0x20, base + 0x8}};
    EXPECT_EQ(resolved(made).verdicts, std::string(1, verdict::noFile));
}

TEST_F(BranchResolverTest, ARecordThatHardlyLeadsOnIsCut)
{
    // The entry of the linkage table is apply's, and what ran then is another function there.
    const BranchTask done =
        resolved(task({"library:far_calls_back"}, {{"main_calls_apply", "apply@plt"}}));
    EXPECT_EQ(done.verdicts, std::string(1, verdict::doubtful));
    EXPECT_EQ(addressesOf(done), chain({"library:far_calls_back", "..."}));
}

TEST_F(BranchResolverTest, OfTakenBranchesEachLinkHasAVerdictAndTheChainStays)
{
    BranchTask made = task({"work_calls_leaf", "main_after_work"}, {{"work_repeats", "work_loops"},
                                                                    {"leaf_returns", "work_loops"},
                                                                    {"main_calls_hop", "hop"}});
    made.kind = BranchKind::taken;
    const BranchTask done = resolved(made);
    EXPECT_EQ(done.verdicts, "bbB")
        << "the loop leads to the call, and to its own end, but hop() has no way to leaf()";
    EXPECT_EQ(done.chain, made.software);
}

} // namespace
} // namespace samplefold::load::testing
