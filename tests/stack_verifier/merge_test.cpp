#include "module_map/allocation_probe.h"
#include "verifier_fixture.h"

namespace stack_test {
namespace {

constexpr std::uint64_t g_marker = IP_SKIPPED_FRAMES;
constexpr std::uint64_t g_call = 5; ///< bytes of a direct call

class Merge : public VerifierTest {
protected:
    Merge()
    {
        for (StackVerifier* verifier : {&navigating, &plain})
            verifier->getCachedSymbolBank(program().path());
    }
    /// Return address of a call.
    static std::uint64_t after(const std::string& call) { return at(call) + g_call; }

    /// Merges by the plain verifier and expects that chain afterwards.
    merge_outcome_t outcomeOf(const stack_t& records, chain_t chain, const chain_t& expected)
    {
        const bool isMerged = merge(plain, records, chain);
        EXPECT_EQ(chain, expected);
        const merge_outcome_t outcome = plain.lastMerge();
        EXPECT_EQ(isMerged,
                  outcome == merge_outcome_t::complete || outcome == merge_outcome_t::marked);
        return outcome;
    }
    /// The same where the chain is to stay.
    merge_outcome_t refusalOf(const stack_t& records, const chain_t& chain)
    {
        return outcomeOf(records, chain, chain);
    }
    lines_t linesOf(StackVerifier& verifier, const stack_t& records, chain_t chain)
    {
        return debugLines([&] { merge(verifier, records, chain); });
    }

    /// _start() -> main() -> work() -> leaf(), as records.
    const stack_t calls{record("start_calls_main", "main"), record("main_calls_work", "work"),
                        record("work_calls_leaf", "leaf")};
};

TEST_F(Merge, TheMarkerIsAllOnes)
{
    EXPECT_EQ(g_marker, 0xFFFFFFFFFFFFFFFFU);
}

TEST_F(Merge, TwoEmptyStacksNeedNoMerging)
{
    EXPECT_EQ(plain.lastMerge(), merge_outcome_t::none);
    EXPECT_EQ(refusalOf({}, {}), merge_outcome_t::notNecessary);
    EXPECT_EQ(linesOf(plain, {}, {}),
              (lines_t{"StackVerifier::merge: PID = 42, tsc = 1000, callchainSize = 0, "
                       "lbrStackSize = 0, usePATHNAV: 0",
                       "Stack merging is not necessary"}));
}

TEST_F(Merge, ASoftwareChainThatEndsInAFrameStays)
{
    EXPECT_EQ(refusalOf(calls, {after("work_calls_leaf")}), merge_outcome_t::notNecessary);
    EXPECT_EQ(refusalOf(calls, {g_marker, after("work_calls_leaf")}),
              merge_outcome_t::notNecessary);
    EXPECT_EQ(refusalOf({}, {nowhere}), merge_outcome_t::notNecessary);
}

TEST_F(Merge, AnEmptyChainBecomesTheRecordsNewestFirst)
{
    EXPECT_EQ(outcomeOf(calls, {},
                        {at("work_calls_leaf"), at("main_calls_work"), at("start_calls_main")}),
              merge_outcome_t::complete);
}

TEST_F(Merge, AChainOfTheMarkerAloneBecomesTheRecords)
{
    EXPECT_EQ(outcomeOf(calls, {g_marker},
                        {at("work_calls_leaf"), at("main_calls_work"), at("start_calls_main")}),
              merge_outcome_t::complete);
}

TEST_F(Merge, WithoutRecordsTheMarkerStays)
{
    EXPECT_EQ(refusalOf({}, {g_marker}), merge_outcome_t::noRecordsLeft);
    EXPECT_EQ(linesOf(plain, {}, {g_marker}).back(), "LBR stack is worse than software");
}

TEST_F(Merge, TheNewestRecordPairsWithTheFirstFrameAndTheRestIsAppended)
{
    EXPECT_EQ(
        outcomeOf(calls, {after("work_calls_leaf"), after("main_calls_work"), g_marker},
                  {after("work_calls_leaf"), after("main_calls_work"), at("start_calls_main")}),
        merge_outcome_t::complete);
}

TEST_F(Merge, AChainWithAsManyFramesAsRecordsIsRefusedBeforeItsMarkerIsSeen)
{
    EXPECT_EQ(refusalOf(calls, {after("work_calls_leaf"), after("main_calls_work"),
                                after("start_calls_main"), g_marker}),
              merge_outcome_t::noRecordsLeft);
}

TEST_F(Merge, WhatStandsBehindAnEarlierMarkerStaysBehindIt)
{
    EXPECT_EQ(outcomeOf({calls[0]}, {g_marker, at("leaf"), g_marker},
                        {at("leaf"), g_marker, at("start_calls_main")}),
              merge_outcome_t::complete);
}

TEST_F(Merge, KernelFramesAndTheFrameBehindThemPairWithNothing)
{
    const std::uint64_t k1 = at("kernel:leaf_middle");
    const std::uint64_t k2 = at("kernel:work_after_leaf");
    const std::uint64_t u = at("leaf_middle");
    const std::uint64_t s = after("work_calls_leaf");
    EXPECT_EQ(outcomeOf(calls, {k1, k2, u, s, g_marker},
                        {k1, k2, u, s, at("main_calls_work"), at("start_calls_main")}),
              merge_outcome_t::complete);
}

TEST_F(Merge, OnlyOneFrameBehindTheKernelIsSkipped)
{
    const std::uint64_t k = at("kernel:leaf_middle");
    const std::uint64_t u = at("leaf_middle");
    EXPECT_EQ(refusalOf(calls, {k, u, u, g_marker}), merge_outcome_t::otherCall);
    const std::uint64_t s = after("work_calls_leaf");
    EXPECT_EQ(outcomeOf(calls, {k, u, s, k, u, g_marker},
                        {k, u, s, k, u, at("main_calls_work"), at("start_calls_main")}),
              merge_outcome_t::complete)
        << "and one behind each stretch of the kernel";
}

TEST_F(Merge, AGeneratedFrameIsSkippedAsTheKernelsAre)
{
    EXPECT_EQ(outcomeOf(calls, {jit, at("leaf_middle"), after("work_calls_leaf"), g_marker},
                        {jit, at("leaf_middle"), after("work_calls_leaf"), at("main_calls_work"),
                         at("start_calls_main")}),
              merge_outcome_t::complete);
}

TEST_F(Merge, ASkippedFrameNeedNotBelongToAnything)
{
    // The one behind the kernel is resolved, and not compared.
    EXPECT_EQ(outcomeOf(calls, {at("kernel:leaf"), at("library:apply"), g_marker},
                        {at("kernel:leaf"), at("library:apply"), at("work_calls_leaf"),
                         at("main_calls_work"), at("start_calls_main")}),
              merge_outcome_t::complete);
}

TEST_F(Merge, WithoutNavigationFramesUpToSevenBytesBehindTheCallPair)
{
    const stack_t two{calls[0], calls[1]};
    const std::uint64_t call = at("main_calls_work");
    for (const std::uint64_t distance : {0, 5, 7})
        EXPECT_EQ(
            outcomeOf(two, {call + distance, g_marker}, {call + distance, at("start_calls_main")}),
            merge_outcome_t::complete)
            << distance;
    EXPECT_EQ(refusalOf(two, {call + 8, g_marker}), merge_outcome_t::otherCall);
    EXPECT_EQ(refusalOf(two, {call - 1, g_marker}), merge_outcome_t::otherCall);
}

TEST_F(Merge, WithNavigationAFrameWithinTheCallPairs)
{
    const stack_t two{calls[0], calls[1]};
    chain_t chain{after("main_calls_work") - 1, g_marker};
    EXPECT_TRUE(merge(navigating, two, chain));
    EXPECT_EQ(chain, (chain_t{after("main_calls_work") - 1, at("start_calls_main")}));
    chain = {after("main_calls_work"), g_marker};
    EXPECT_FALSE(merge(navigating, two, chain));
    EXPECT_EQ(chain, (chain_t{after("main_calls_work"), g_marker}));
    EXPECT_EQ(navigating.lastMerge(), merge_outcome_t::otherCall);
}

TEST_F(Merge, AModuleWithoutANavigatorRefuses)
{
    StackVerifier fresh(modules, &context, true);
    const lines_t lines = linesOf(fresh, {calls[0], calls[1]}, {at("main_calls_work"), g_marker});
    EXPECT_EQ(lines.back(), "Call validation failed");
    EXPECT_EQ(fresh.lastMerge(), merge_outcome_t::otherCall);
}

TEST_F(Merge, AFrameInNoCodeRefuses)
{
    const chain_t chain{nowhere, g_marker};
    EXPECT_EQ(refusalOf(calls, chain), merge_outcome_t::unresolvedFrame);
    EXPECT_EQ(linesOf(plain, calls, chain).back(), "Cannot resolve ipSw = 0xdead0000");
}

TEST_F(Merge, ARecordFromNoCodeRefuses)
{
    const chain_t chain{at("main"), g_marker};
    const stack_t records{{nowhere, at("leaf")}};
    EXPECT_EQ(refusalOf(records, chain), merge_outcome_t::unresolvedFrom);
    EXPECT_EQ(linesOf(plain, records, chain).back(), "Cannot resolve ipFrom = 0xdead0000");
}

TEST_F(Merge, AFrameInAnotherSegmentThanItsRecordRefuses)
{
    const chain_t chain{at("library:apply_after"), g_marker};
    EXPECT_EQ(refusalOf(calls, chain), merge_outcome_t::otherModule);
    EXPECT_EQ(linesOf(plain, calls, chain).back(),
              "Addresses ipFrom = " + hex(at("work_calls_leaf")) +
                  ", ipSw = " + hex(at("library:apply_after")) + ": are from different modules");
    EXPECT_EQ(refusalOf({record("jit:10", "leaf")}, {at("leaf"), g_marker}),
              merge_outcome_t::otherModule)
        << "generated code is in no segment";
}

TEST_F(Merge, AMismatchInTheMiddleLeavesNothingBehind)
{
    EXPECT_EQ(refusalOf(calls, {after("work_calls_leaf"), after("main_calls_count"), g_marker}),
              merge_outcome_t::otherCall);
}

TEST_F(Merge, RecordsThatAreLeftAreAppendedUnseen)
{
    EXPECT_EQ(outcomeOf({calls[0], {nowhere, nowhere}, calls[2]},
                        {after("work_calls_leaf"), g_marker},
                        {after("work_calls_leaf"), nowhere, at("start_calls_main")}),
              merge_outcome_t::complete);
}

TEST_F(Merge, ALastFrameInNoCodeFailsAndKeepsWhatWasAppended)
{
    EXPECT_EQ(outcomeOf({{nowhere, at("main")}, calls[1]}, {after("main_calls_work"), g_marker},
                        {after("main_calls_work"), nowhere}),
              merge_outcome_t::unresolvedLast);
    EXPECT_EQ(
        linesOf(plain, {{nowhere, at("main")}, calls[1]}, {after("main_calls_work"), g_marker})
            .back(),
        "Cannot resolve the last ipFrom = " + hex(nowhere))
        << "that of the last comparison, which was with the marker";
}

TEST_F(Merge, WithoutAComparisonTheLastFrameThatFailsIsToldAsNone)
{
    EXPECT_EQ(outcomeOf({{nowhere, at("main")}}, {}, {nowhere}), merge_outcome_t::unresolvedLast);
    EXPECT_EQ(linesOf(plain, {{nowhere, at("main")}}, {}).back(),
              "Cannot resolve the last ipFrom = 0");
}

TEST_F(Merge, TheComparisonOfTheLastFrameIsNotThatOfTheLastRecord)
{
    // The marker was compared with the newest; the record that fails is an older one.
    EXPECT_EQ(linesOf(plain, {{nowhere, at("main")}, calls[1]}, {g_marker}).back(),
              "Cannot resolve the last ipFrom = " + hex(at("main_calls_work")));
}

TEST_F(Merge, AChainThatEndsInTheBeginOfAThreadIsComplete)
{
    EXPECT_EQ(outcomeOf({record("clone_calls", "main")}, {}, {at("clone_calls")}),
              merge_outcome_t::complete);
}

TEST_F(Merge, AChainThatEndsInAFunctionThatReturnsGetsTheMarker)
{
    chain_t chain;
    EXPECT_TRUE(merge(navigating, {calls[1]}, chain));
    EXPECT_EQ(chain, (chain_t{at("main_calls_work"), g_marker}));
    EXPECT_EQ(navigating.lastMerge(), merge_outcome_t::marked);
}

TEST_F(Merge, AChainThatEndsInAFunctionThatNeverReturnsIsComplete)
{
    chain_t chain;
    EXPECT_TRUE(merge(navigating, {record("forever_loops", "main")}, chain));
    EXPECT_EQ(chain, chain_t{at("forever_loops")});
}

TEST_F(Merge, AChainWhoseLastFrameCannotBeJudgedGetsTheMarker)
{
    mapAs(process, "/no/such/file", 0x555900000000, 0x555900000fff, 0);
    EXPECT_EQ(outcomeOf({record("forever_loops", "main")}, {}, {at("forever_loops"), g_marker}),
              merge_outcome_t::marked)
        << "without navigation names alone tell a top";
    EXPECT_EQ(outcomeOf({record("bare", "main")}, {}, {at("bare"), g_marker}),
              merge_outcome_t::marked);
    EXPECT_EQ(outcomeOf({{0x555900000000, at("main")}}, {}, {0x555900000000, g_marker}),
              merge_outcome_t::marked)
        << "a module without a file";
    StackVerifier fresh(modules, &context, false);
    const lines_t lines = linesOf(fresh, {{0x555900000000, at("main")}}, {});
    EXPECT_FALSE(contains(lines, "Failed to load symobls for module: ")) << "nor is one looked for";
}

TEST_F(Merge, AGeneratedLastFrameIsJudgedByThePathBeforeIt)
{
    // Its relative address is that of _start() in the program, whose path is still at hand.
    const std::uint64_t last = jit + program().rva("_start") - RangeJitLoader::rvaOfFirst;
    ASSERT_LE(last, jit + 0xfff);
    EXPECT_EQ(outcomeOf({{last, at("main")}, calls[1]}, {after("main_calls_work"), g_marker},
                        {after("main_calls_work"), last}),
              merge_outcome_t::complete);
    EXPECT_EQ(
        outcomeOf({{last, at("main")}, calls[1]}, {}, {at("main_calls_work"), last, g_marker}),
        merge_outcome_t::marked)
        << "where nothing was resolved before it there is no path";
}

TEST_F(Merge, EveryStepIsTold)
{
    const std::uint64_t k = at("kernel:leaf_middle");
    const std::uint64_t u = at("leaf_middle");
    const std::uint64_t s = after("work_calls_leaf");
    plain.verifyStackTop(program().path(), 0);
    linesOf(plain, calls, {k, u, s, g_marker});
    const std::string newest = hex(at("work_calls_leaf"));
    const std::string middle = hex(at("main_calls_work"));
    EXPECT_EQ(
        linesOf(plain, calls, {k, u, s, g_marker}),
        (lines_t{"StackVerifier::merge: PID = 42, tsc = 1000, callchainSize = 4, lbrStackSize = 3, "
                 "usePATHNAV: 0",
                 " ipFrom = " + newest + ",  ipSw = " + hex(k), "Skipped kernel ipSw = " + hex(k),
                 " ipFrom = " + newest + ",  ipSw = " + hex(u),
                 "Skipped user hotspot ipSw = " + hex(u) + ", ipTo = " + hex(at("leaf")),
                 " ipFrom = " + newest + ",  ipSw = " + hex(s),
                 " ipFrom = " + middle + ",  ipSw = 0xffffffffffffffff",
                 " ipFrom = " + middle + ": merged",
                 " ipFrom = " + hex(at("start_calls_main")) + ": merged",
                 " Top function: _start"}));
}

TEST_F(Merge, TheMarkerAndTheUseOfNavigationAreTold)
{
    const lines_t lines = linesOf(navigating, {calls[1]}, {});
    EXPECT_EQ(lines.front(), "StackVerifier::merge: PID = 42, tsc = 1000, callchainSize = 0, "
                             "lbrStackSize = 1, usePATHNAV: 1");
    EXPECT_EQ(lines.back(), "IP_SKIPPED_FRAMES");
}

TEST_F(Merge, ChangesNoRecord)
{
    stack_t records = calls;
    chain_t chain;
    EXPECT_TRUE(plain.merge(records, chain, jitTime, tsc, pid, kernel, process, nullptr));
    EXPECT_EQ(records, calls);
}

TEST_F(Merge, AllocatesNoMoreForALongChainThanForAShortOne)
{
    const auto allocationsOf = [&](std::size_t pairs) {
        stack_t records(pairs + 1, calls[1]);
        records.front() = calls[0];
        chain_t chain(pairs, after("main_calls_work"));
        chain.push_back(g_marker);
        const auto before = samplefold_1::test::allocationCounts().allocations;
        EXPECT_TRUE(plain.merge(records, chain, jitTime, tsc, pid, kernel, process, nullptr));
        return samplefold_1::test::allocationCounts().allocations - before;
    };
    allocationsOf(1);
    EXPECT_EQ(allocationsOf(1000), allocationsOf(1));
}

} // namespace
} // namespace stack_test
