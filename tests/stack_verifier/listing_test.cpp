// Stacks over the functions of listing.S: which records are kept, and why.

#include "verifier_fixture.h"

namespace stack_test {
namespace {

using enum link_outcome_t;

class ListingStacks : public VerifierTest {};

TEST_F(ListingStacks, PlainCallsAreKeptToTheBegin)
{
    // Each function begins at the record's `to` and holds the next call, the leaf the sample.
    EXPECT_EQ(linksOf({record("start_calls_main", "_start"), record("start_calls_main", "main"),
                       record("main_calls_work", "work"), record("work_calls_leaf", "leaf")},
                      "leaf_middle"),
              (links_t{symbol, symbol, symbol, symbol}));
}

TEST_F(ListingStacks, ACallOfTheWrongFunctionIsCut)
{
    // The newest `to` is where landing begins, and the sample is in the leaf.
    EXPECT_EQ(linksOf({record("main_calls_work", "work"), record("work_calls_leaf", "landing")},
                      "leaf_middle"),
              (links_t{cutBasicBlocks}));
}

TEST_F(ListingStacks, RecursionIsKept)
{
    // Every round begins where the function begins and holds the call of the next one.
    EXPECT_EQ(linksOf({record("main_calls_count", "count"), record("count_calls_count", "count"),
                       record("count_calls_count", "count")},
                      "count_ends"),
              (links_t{symbol, symbol, symbol}));
}

TEST_F(ListingStacks, ASampleOnTheRecursiveCallItselfIsKept)
{
    // The child of all three links is the sampled address, whichever record it came from.
    EXPECT_EQ(linksOf({record("count_calls_count", "count"), record("count_calls_count", "count"),
                       record("count_calls_count", "count")},
                      "count_calls_count"),
              (links_t{symbol, symbol, symbol}));
}

TEST_F(ListingStacks, ATailCallIsKeptByItsJump)
{
    // hop() was called and the sample is in landing(), where its jump leads.
    EXPECT_EQ(linksOf({record("main_calls_hop", "hop")}, "landing_middle"), (links_t{basicBlocks}));
}

TEST_F(ListingStacks, ACallBehindATailCallIsKept)
{
    // The call in landing() ends a block that hop() leads to.
    EXPECT_EQ(linksOf({record("main_calls_hop", "hop"), record("landing_calls_leaf", "leaf")},
                      "leaf_middle"),
              (links_t{symbol, basicBlocks}));
}

TEST_F(ListingStacks, ACallThroughTheLinkageTableAndACallbackAreKept)
{
    // callback() is a plain call; the library was entered by the table, which the call in main()
    // leads to; main() holds that call.
    EXPECT_EQ(linksOf({record("start_calls_main", "main"), record("main_calls_apply", "apply@plt"),
                       record("library:apply_calls_back", "callback")},
                      "callback_middle"),
              (links_t{symbol, linkageTable, symbol}));
}

TEST_F(ListingStacks, AJumpIntoAnotherModulePastTheTableIsKept)
{
    // leap() is no entry of the table, but it is a place, which is all that can be asked.
    EXPECT_EQ(
        linksOf({record("main_calls_work", "leap"), record("library:far_calls_back", "callback")},
                "callback_middle"),
        (links_t{symbol, otherModule}));
}

TEST_F(ListingStacks, AnotherModuleWithoutSuchAPlaceIsCut)
{
    // The mapping claims more of the program than its file has.
    mapAs(process, program().path(), 0x555700000000, 0x55570000ffff, 0x1000);
    EXPECT_EQ(linksOf({record("start_calls_main", "main"),
                       {at("main_calls_apply"), 0x555700008000},
                       record("library:apply_calls_back", "callback")},
                      "callback_middle"),
              (links_t{symbol, cutCrossModule}));
}

TEST_F(ListingStacks, ACaseOfAJumpTableIsKeptAsPartOfItsFunction)
{
    EXPECT_EQ(linksOf({record("main_calls_work", "select"), record("case_zero_calls_leaf", "leaf")},
                      "leaf_middle"),
              (links_t{symbol, symbol}));
}

TEST_F(ListingStacks, ACaseOfAJumpTableIsKeptWithoutSymbolsToo)
{
    // No block is known to lead to the case, but the jump may go anywhere.
    EXPECT_EQ(linksOf({record("bare:main_calls_work", "bare:select")}, "bare:case_one"),
              (links_t{basicBlocks}));
}

TEST_F(ListingStacks, WhereAnIndirectJumpLedIsBelieved)
{
    EXPECT_EQ(linksOf({record("main_calls_work", "dispatch")}, "bare_middle"),
              (links_t{basicBlocks}));
    EXPECT_EQ(linksOf({record("main_calls_work", "dispatch")}, "leaf_middle"),
              (links_t{basicBlocks}))
        << "also where it did not lead";
}

TEST_F(ListingStacks, AnIndirectCallIsKept)
{
    // Who is called does not matter, only that main() holds the call.
    EXPECT_EQ(
        linksOf({record("start_calls_main", "main"), record("main_calls_pointer", "by_pointer")},
                "by_pointer_calls_leaf"),
        (links_t{symbol, symbol}));
}

TEST_F(ListingStacks, CodeWithoutASymbolIsKeptByItsBlocks)
{
    EXPECT_EQ(linksOf({record("main_calls_bare", "bare"), record("bare_calls_leaf", "leaf")},
                      "leaf_middle"),
              (links_t{symbol, basicBlocks}));
}

TEST_F(ListingStacks, CodeWithoutASymbolIsCutWhereItsBlocksEnd)
{
    // The first piece returns before the second begins.
    EXPECT_EQ(linksOf({record("main_calls_bare", "bare"), record("other_bare_calls_leaf", "leaf")},
                      "leaf_middle"),
              (links_t{symbol, cutBasicBlocks}));
}

TEST_F(ListingStacks, AModuleWithoutSymbolsIsKeptByItsBlocks)
{
    EXPECT_EQ(linksOf({record("bare:start_calls_main", "bare:main"),
                       record("bare:main_calls_work", "bare:work"),
                       record("bare:work_calls_leaf", "bare:leaf")},
                      "bare:leaf_middle"),
              (links_t{basicBlocks, basicBlocks, basicBlocks}));
}

TEST_F(ListingStacks, ALabelWithinAFunctionIsNoEntry)
{
    // A call of it is rare and a record that is wrong by some bytes is not, so the record goes.
    EXPECT_EQ(linksOf({record("start_calls_main", "main"),
                       record("main_calls_inner_label", "inner_label"),
                       record("outer_calls_leaf", "leaf")},
                      "leaf_middle"),
              (links_t{symbol, cutSymbol}));
}

TEST_F(ListingStacks, AFunctionWithinAFunctionIsAnEntry)
{
    EXPECT_EQ(
        linksOf({record("main_calls_work", "inner_function"), record("inner_calls_leaf", "leaf")},
                "leaf_middle"),
        (links_t{symbol, symbol}));
}

TEST_F(ListingStacks, TheBeginOfAnInlinedFunctionIsAnEntry)
{
    EXPECT_EQ(linksOf({record("main_calls_work", "host_inlined"),
                       record("host_inlined_calls_leaf", "leaf")},
                      "leaf_middle"),
              (links_t{symbol, symbol}));
    EXPECT_EQ(linksOf({record("main_calls_work", "host_inlined_middle"),
                       record("host_inlined_calls_leaf", "leaf")},
                      "leaf_middle"),
              (links_t{symbol, cutSymbol}))
        << "and its middle is none";
}

TEST_F(ListingStacks, AColdPartIsKeptByTheJumpToIt)
{
    EXPECT_EQ(linksOf({record("main_calls_work", "warm"), record("cold_calls_leaf", "leaf")},
                      "leaf_middle"),
              (links_t{symbol, basicBlocks}));
    EXPECT_EQ(linksOf({record("main_calls_work", "warm")}, "cold_middle"), (links_t{basicBlocks}));
}

TEST_F(ListingStacks, AFunctionThatNeverReturnsIsAFunction)
{
    EXPECT_EQ(linksOf({record("main_calls_work", "forever")}, "forever_loops"), (links_t{symbol}));
}

TEST_F(ListingStacks, ALoopIsPartOfItsFunction)
{
    EXPECT_EQ(linksOf({record("main_calls_work", "work")}, "work_repeats"), (links_t{symbol}));
    EXPECT_EQ(linksOf({record("main_calls_work", "bare:work")}, "bare:work_calls_leaf"),
              (links_t{basicBlocks}))
        << "and the way behind it is found";
}

TEST_F(ListingStacks, AFunctionWithoutASizeIsKeptByItsBlocks)
{
    EXPECT_EQ(linksOf({record("main_calls_work", "unsized"), record("unsized_calls_leaf", "leaf")},
                      "leaf_middle"),
              (links_t{symbol, basicBlocks}));
}

TEST_F(ListingStacks, EntryToTheKernelIsKept)
{
    // Within the kernel as within any module; ask() holds the instruction that entered it.
    EXPECT_EQ(linksOf({record("main_calls_work", "ask"), record("ask_enters", "kernel:work"),
                       record("kernel:work_calls_leaf", "kernel:leaf")},
                      "kernel:leaf_middle"),
              (links_t{symbol, symbol, symbol}));
}

TEST_F(ListingStacks, AnInterruptIntoTheKernelIsKeptWithoutACheck)
{
    // Nothing tells where an interrupt comes from; the next link goes on from the record's `from`.
    EXPECT_EQ(linksOf({record("start_calls_main", "main"), record("main_calls_work", "work")},
                      "kernel:leaf_middle"),
              (links_t{privilegeChange, symbol}));
}

TEST_F(ListingStacks, TheWayOutOfTheKernelIsKeptWithoutACheck)
{
    EXPECT_EQ(linksOf({record("main_calls_work", "ask"), record("ask_enters", "kernel:work")},
                      "ask_after"),
              (links_t{privilegeChange, symbol}));
}

TEST_F(ListingStacks, ALinkWithinAKernelWithoutAFileIsCut)
{
    // There are neither symbols nor code.
    mapAs(kernel, "[kernel.kallsyms]", 0xffffffffa0000000, 0xffffffffa0ffffff, 0);
    EXPECT_EQ(linksOf({record("main_calls_work", "ask"), {at("ask_enters"), 0xffffffffa0000100}},
                      0xffffffffa0000110),
              (links_t{cutBasicBlocks}));
}

TEST_F(ListingStacks, GeneratedCodeInTheMiddleIsKeptAndSoIsWhatIsOlder)
{
    // Behind generated code the child stays in it, so the links after it have one end there too.
    EXPECT_EQ(linksOf({record("start_calls_main", "main"), record("main_calls_pointer", "jit:100"),
                       record("jit:150", "leaf")},
                      "leaf_middle"),
              (links_t{symbol, generatedCode, generatedCode}));
}

TEST_F(ListingStacks, BehindGeneratedCodeTheChildIsTheSameAsBefore)
{
    // The next link is measured from the sampled leaf again, and not from the call in work().
    EXPECT_EQ(linksOf({record("main_calls_work", "leaf"), record("work_calls_leaf", "jit:100")},
                      "leaf_middle"),
              (links_t{generatedCode, symbol}));
    EXPECT_EQ(linksOf({record("main_calls_work", "work"), record("work_calls_leaf", "jit:100")},
                      "leaf_middle"),
              (links_t{generatedCode, cutBasicBlocks}))
        << "work() would have held from the call on";
}

TEST_F(ListingStacks, ASampleInGeneratedCodeKeepsEverythingThatIsCode)
{
    EXPECT_EQ(
        linksOf({record("main_calls_work", "inner_label"), record("jit:20", "jit:100")}, "jit:120"),
        (links_t{generatedCode, generatedCode}));
}

TEST_F(ListingStacks, ARecordToNowhereIsCutWithWhatIsOlder)
{
    EXPECT_EQ(linksOf({record("start_calls_main", "main"),
                       {at("main_calls_work"), nowhere},
                       record("work_calls_leaf", "leaf")},
                      "leaf_middle"),
              (links_t{symbol, cutUnresolvedTo}));
}

TEST_F(ListingStacks, ARecordBeforeACallFromNowhereIsCut)
{
    // The record from nowhere itself stays, since its own link holds.
    EXPECT_EQ(linksOf({record("start_calls_main", "main"),
                       record("main_calls_work", "work"),
                       {nowhere, at("leaf")}},
                      "leaf_middle"),
              (links_t{symbol, cutUnresolvedFrom}));
}

TEST_F(ListingStacks, AnOldestRecordWithoutItsOriginIsKept)
{
    // Nothing is measured from the oldest `from`.
    EXPECT_EQ(linksOf({{0, at("main")}, record("main_calls_work", "work")}, "work_loops"),
              (links_t{symbol, symbol}));
}

TEST_F(ListingStacks, AnEmptyOldestRecordIsCut)
{
    EXPECT_EQ(linksOf({{0, 0}, record("main_calls_work", "work")}, "work_loops"),
              (links_t{symbol, cutUnresolvedTo}));
}

TEST_F(ListingStacks, OfFiveRecordsTheTwoNewerThanABadOneMoveToTheFront)
{
    const branch_t second = record("count_calls_count", "count");
    const branch_t newest = record("count_returns", "count");
    stack_t records{record("start_calls_main", "main"), record("main_calls_count", "count"),
                    record("count_calls_count", "count_ends"), second, newest};
    EXPECT_TRUE(verify(navigating, records, at("count_ends")));
    EXPECT_EQ(records, (stack_t{second, newest}));
    EXPECT_EQ(navigating.lastLinks(), (links_t{symbol, symbol, cutSymbol}));
}

TEST_F(ListingStacks, ABadNewestRecordTakesAllWithIt)
{
    EXPECT_EQ(linksOf({record("start_calls_main", "main"), record("main_calls_work", "work"),
                       record("work_calls_leaf", "leaf_middle")},
                      "leaf_middle"),
              (links_t{cutSymbol}));
}

TEST_F(ListingStacks, AnEmptyStackStaysEmpty)
{
    EXPECT_EQ(linksOf({}, "leaf_middle"), links_t{});
}

} // namespace
} // namespace stack_test
