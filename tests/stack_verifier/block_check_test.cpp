#include "verifier_fixture.h"

namespace stack_test {
namespace {

class BlockCheck : public VerifierTest {
protected:
    BlockCheck()
    {
        navigating.getCachedSymbolBank(program().path());
        navigating.getCachedSymbolBank(fixedProgram().path());
    }
    /// Whether `from`, the end of a block, can be reached from `to`.
    std::int32_t toBranch(const std::string& from, const std::string& to,
                          const Listing& listing = program())
    {
        return navigating.verifyByBasicBlocks(listing.path(), listing.rva(from), listing.rva(to),
                                              true);
    }
    /// The same of any address in a block.
    std::int32_t toSample(const std::string& from, const std::string& to,
                          const Listing& listing = program())
    {
        return navigating.verifyByBasicBlocks(listing.path(), listing.rva(from), listing.rva(to),
                                              false);
    }
};

TEST_F(BlockCheck, WithoutNavigationEverythingHolds)
{
    EXPECT_EQ(plain.verifyByBasicBlocks("/no/such/file", 1, 0xdead0000, true), link_check::holds);
    EXPECT_EQ(plain.verifyByBasicBlocks("", 1, 0xdead0000, false), link_check::holds);
}

TEST_F(BlockCheck, AModuleThatNobodyLoadedFails)
{
    EXPECT_EQ(toSample("leaf", "leaf", bareProgram()), link_check::failed);
    navigating.getCachedSymbolBank(bareProgram().path());
    EXPECT_EQ(toSample("leaf", "leaf", bareProgram()), link_check::holds);
}

TEST_F(BlockCheck, AModuleWithoutABankFails)
{
    navigating.getCachedSymbolBank("/no/such/file");
    EXPECT_EQ(navigating.verifyByBasicBlocks("/no/such/file", 0x1000, 0x1000, false),
              link_check::failed);
}

TEST_F(BlockCheck, AnEntryWithoutCodeFails)
{
    EXPECT_EQ(navigating.verifyByBasicBlocks(program().path(), 0xdead0000, 0xdead0000, false),
              link_check::failed);
    EXPECT_EQ(toSample("later", "later"), link_check::failed);
}

TEST_F(BlockCheck, TheEndOfTheFirstBlockHoldsEitherWay)
{
    EXPECT_EQ(toBranch("landing_calls_leaf", "landing"), link_check::holds);
    EXPECT_EQ(toSample("landing_calls_leaf", "landing"), link_check::holds);
}

TEST_F(BlockCheck, TheMiddleOfABlockHoldsForASampleOnly)
{
    EXPECT_EQ(toSample("landing_middle", "landing"), link_check::holds);
    EXPECT_EQ(toBranch("landing_middle", "landing"), link_check::failed);
}

TEST_F(BlockCheck, TheLastByteOfABlockIsInItAndTheNextIsNot)
{
    const std::uint64_t hop = program().rva("hop");
    const std::uint64_t jump = program().rva("hop_jumps");
    const std::uint64_t length = 2;
    const auto ask = [&](std::uint64_t rva) {
        return navigating.verifyByBasicBlocks(program().path(), rva, hop, false);
    };
    EXPECT_EQ(ask(jump + length - 1), link_check::holds);
    EXPECT_EQ(ask(jump + length), link_check::failed);
    EXPECT_EQ(ask(hop - 1), link_check::failed);
}

TEST_F(BlockCheck, TheBlockThatHoldsTheEntryCountsFromItsBegin)
{
    EXPECT_EQ(toSample("landing", "landing_middle"), link_check::holds);
}

TEST_F(BlockCheck, AModuleForOneAddressIsSearchedByRelativeAddresses)
{
    EXPECT_EQ(toBranch("landing_calls_leaf", "hop", fixedProgram()), link_check::holds);
    EXPECT_EQ(toBranch("bare_calls_leaf", "hop", fixedProgram()), link_check::failed);
}

TEST_F(BlockCheck, JumpsAreFollowedAlsoIntoOtherFunctions)
{
    EXPECT_EQ(toBranch("landing_calls_leaf", "hop"), link_check::holds);
    EXPECT_EQ(toSample("landing_returns", "hop"), link_check::holds) << "and past the call there";
    EXPECT_EQ(toBranch("cold_calls_leaf", "warm"), link_check::holds);
    EXPECT_EQ(toSample("warm_back", "warm.cold"), link_check::holds);
}

TEST_F(BlockCheck, CallsAreNotFollowed)
{
    EXPECT_EQ(toSample("leaf_middle", "landing"), link_check::failed);
}

TEST_F(BlockCheck, AReturnEndsAWay)
{
    EXPECT_EQ(toBranch("other_bare_calls_leaf", "bare"), link_check::failed);
}

TEST_F(BlockCheck, ALoopEnds)
{
    EXPECT_EQ(toSample("leaf", "work"), link_check::failed);
    EXPECT_EQ(toSample("leaf", "forever"), link_check::failed);
    EXPECT_EQ(toSample("work_returns", "work"), link_check::holds) << "and is left";
}

TEST_F(BlockCheck, AnIndirectJumpHoldsForAnyPlace)
{
    const std::uint64_t jump = program().rva("select_jumps");
    EXPECT_EQ(
        debugLines([&] { EXPECT_EQ(toBranch("cold_calls_leaf", "select"), link_check::holds); }),
        lines_t{"Indirect jump detected at RVA: " + hex(jump, 18)});
}

TEST_F(BlockCheck, AnIndirectJumpThatIsTheEndItselfIsNoDetour)
{
    EXPECT_EQ(debugLines([&] { EXPECT_EQ(toBranch("select_jumps", "select"), link_check::holds); }),
              lines_t{});
}

TEST_F(BlockCheck, AnIndirectCallIsNoJump)
{
    EXPECT_EQ(toBranch("cold_calls_leaf", "main"), link_check::failed);
}

TEST_F(BlockCheck, StraightCodeIsSearchedBeforeTheTargetOfAJump)
{
    EXPECT_EQ(
        debugLines([&] { EXPECT_EQ(toBranch("fork_calls_leaf", "fork"), link_check::holds); }),
        lines_t{"Indirect jump detected at RVA: " + hex(program().rva("fork_jumps"), 18)})
        << "the jump stands behind, the call at the target";
    EXPECT_EQ(
        debugLines([&] { EXPECT_EQ(toBranch("knife_calls_leaf", "knife"), link_check::holds); }),
        lines_t{})
        << "the call stands behind, the jump at the target";
}

TEST_F(BlockCheck, ASearchLeavesNothingToTheNext)
{
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(toBranch("landing_calls_leaf", "hop"), link_check::holds) << i;
        EXPECT_EQ(toBranch("bare_calls_leaf", "hop"), link_check::failed) << i;
    }
}

} // namespace
} // namespace stack_test
