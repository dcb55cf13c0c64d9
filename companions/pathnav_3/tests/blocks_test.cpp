// The rules of blocks, over bytes that stand here. What they mean was read off with objdump.

#include "walk.h"

#include <gtest/gtest.h>

namespace {

using namespace pathnav_test;
using texts_t = std::vector<std::string>;

TEST(Blocks, codeWithoutBranchesIsOneBlock)
{
    one_function_t function("55 48 89 e5 5d c3"); // push; mov; pop; ret
    EXPECT_EQ(function.blocks(), texts_t{"10-16 ret @15"});
}

TEST(Blocks, aConditionalJumpEndsOneAndItsTargetBeginsOne)
{
    one_function_t function("85 ff 74 01 90 c3"); // test; je +1; nop; ret
    EXPECT_EQ(function.blocks(),
              (texts_t{"10-14 conditional 15 @12", "14-15 fallThrough @14", "15-16 ret @15"}));
    EXPECT_EQ(function.behind(0x10), "14-15 fallThrough @14");
    EXPECT_EQ(function.behind(0x14), "15-16 ret @15");
    EXPECT_EQ(function.behind(0x15), "none");
}

TEST(Blocks, aJumpBackCutsWhatWasDecodedBefore)
{
    one_function_t function("90 90 ff c8 75 fb c3"); // nop; nop; dec; jne 0x11; ret
    EXPECT_EQ(function.blocks(),
              (texts_t{"10-11 fallThrough @10", "11-16 conditional 11 @14", "16-17 ret @16"}));
}

TEST(Blocks, allConditionalJumpsOfAByteEndABlock)
{
    for (int opcode = 0x70; opcode <= 0x7f; ++opcode) {
        char text[16];
        std::snprintf(text, sizeof text, "%02x 01 90 c3", opcode);
        EXPECT_EQ(one_function_t(text).at(0x10), "10-12 conditional 13 @10") << text;
    }
}

TEST(Blocks, allConditionalJumpsOfFourBytesEndABlock)
{
    for (int opcode = 0x80; opcode <= 0x8f; ++opcode) {
        char text[32];
        std::snprintf(text, sizeof text, "0f %02x 01 00 00 00 90 c3", opcode);
        EXPECT_EQ(one_function_t(text).at(0x10), "10-16 conditional 17 @10") << text;
    }
}

TEST(Blocks, loopsAndJumpsOnTheCounterAreConditional)
{
    for (const char* text : {"e0 01 90 c3", "e1 01 90 c3", "e2 01 90 c3", "e3 01 90 c3"})
        EXPECT_EQ(one_function_t(text).at(0x10), "10-12 conditional 13 @10") << text;
    EXPECT_EQ(one_function_t("67 e3 01 90 c3").at(0x10), "10-13 conditional 14 @10");
}

TEST(Blocks, theBeginOfATransactionIsConditional)
{
    EXPECT_EQ(one_function_t("c7 f8 01 00 00 00 90 c3").at(0x10), "10-16 conditional 17 @10");
}

TEST(Blocks, aDirectJumpHasItsTargetAndNoFallThrough)
{
    one_function_t function("eb 01 90 c3");
    EXPECT_EQ(function.blocks(),
              (texts_t{"10-12 jump 13 @10", "12-13 fallThrough @12", "13-14 ret @13"}));
    EXPECT_EQ(function.behind(0x10), "none");
}

TEST(Blocks, aComputedJumpHasNoTargetAndCodeBehindItIsABlock)
{
    one_function_t function("ff e0 90 c3"); // jmp *rax
    EXPECT_EQ(function.blocks(), (texts_t{"10-12 jump @10", "12-14 ret @13"}));
    EXPECT_EQ(one_function_t("ff 25 00 00 00 00 c3").at(0x10), "10-16 jump @10"); // jmp *(rip)
}

TEST(Blocks, farJumpsAndCallsHaveNoTarget)
{
    EXPECT_EQ(one_function_t("ff 28 c3").at(0x10), "10-12 jump @10"); // jmp far (rax)
    EXPECT_EQ(one_function_t("ff 18 c3").at(0x10), "10-12 call @10"); // call far (rax)
}

TEST(Blocks, aJumpBelowTheModuleWrapsAsAddressesDo)
{
    EXPECT_EQ(one_function_t("e9 00 ff ff ff c3").at(0x10), "10-15 jump ffffffffffffff15 @10");
}

TEST(Blocks, aCallKeepsItsTargetApart)
{
    one_function_t function("e8 01 00 00 00 90 c3");
    EXPECT_EQ(function.blocks(),
              (texts_t{"10-15 call 16 @10", "15-16 fallThrough @15", "16-17 ret @16"}));
    EXPECT_EQ(function.behind(0x10), "15-16 fallThrough @15");
    function.navigator->goTo(0x10);
    EXPECT_TRUE(function.navigator->getCurrentBlock()->isTargetExcluded());
    function.navigator->goTo(0x16);
    EXPECT_FALSE(function.navigator->getCurrentBlock()->isTargetExcluded());
}

TEST(Blocks, theTargetOfAJumpIsNotExcluded)
{
    one_function_t function("eb 00 c3");
    function.navigator->goTo(0x10);
    EXPECT_FALSE(function.navigator->getCurrentBlock()->isTargetExcluded());
}

TEST(Blocks, nothingRunsOnBehindACallThatNeverComesBack)
{
    one_function_t function("e8 01 00 00 00 90 c3");
    function.source->goneFor.insert(0x16);
    EXPECT_EQ(function.at(0x10), "10-15 call 16 @10");
    EXPECT_EQ(function.behind(0x10), "none");
}

TEST(Blocks, aCallThroughARegisterComesBack)
{
    EXPECT_EQ(one_function_t("ff d0 c3").behind(0x10), "12-13 ret @12");
}

TEST(Blocks, trapsEndABlockAndNothingRunsOn)
{
    for (const char* text : {"cc 90 c3", "f4 90 c3"}) {
        one_function_t function(text);
        EXPECT_EQ(function.blocks(), (texts_t{"10-11 trap @10", "11-13 ret @12"})) << text;
        EXPECT_EQ(function.behind(0x10), "none") << text;
    }
    EXPECT_EQ(one_function_t("0f 0b c3").at(0x10), "10-12 trap @10");    // ud2
    EXPECT_EQ(one_function_t("0f b9 c0 c3").at(0x10), "10-13 trap @10"); // ud1
    EXPECT_EQ(one_function_t("0f ff c0 c3").at(0x10), "10-13 trap @10"); // ud0
}

TEST(Blocks, interruptsAndSystemCallsEndNothing)
{
    // int 0x80; syscall; sysenter; ret
    EXPECT_EQ(one_function_t("cd 80 0f 05 0f 34 c3").blocks(), texts_t{"10-17 ret @16"});
}

TEST(Blocks, allReturnsEndABlock)
{
    EXPECT_EQ(one_function_t("c2 08 00 90").at(0x10), "10-13 ret @10");
    EXPECT_EQ(one_function_t("f3 c3 90").at(0x10), "10-12 ret @10");
    EXPECT_EQ(one_function_t("cb 90").at(0x10), "10-11 ret @10");       // lret
    EXPECT_EQ(one_function_t("48 cf 90").at(0x10), "10-12 ret @10");    // iretq
    EXPECT_EQ(one_function_t("48 0f 07 90").at(0x10), "10-13 ret @10"); // sysretq
    EXPECT_EQ(one_function_t("48 0f 35 90").at(0x10), "10-13 ret @10"); // sysexitq
}

TEST(Blocks, prefixesOfBoundsAndTrackingDoNotHideAJump)
{
    EXPECT_EQ(one_function_t("f2 e9 01 00 00 00 90 c3").at(0x10), "10-16 jump 17 @10");
    EXPECT_EQ(one_function_t("f2 e8 01 00 00 00 90 c3").at(0x10), "10-16 call 17 @10");
    EXPECT_EQ(one_function_t("f2 75 01 90 c3").at(0x10), "10-13 conditional 14 @10");
    EXPECT_EQ(one_function_t("f2 c3 90").at(0x10), "10-12 ret @10");
    EXPECT_EQ(one_function_t("3e ff e0 c3").at(0x10), "10-13 jump @10"); // notrack jmp *rax
}

TEST(Blocks, hintsOfLikelihoodDoNotHideAJump)
{
    EXPECT_EQ(one_function_t("3e 74 01 90 c3").at(0x10), "10-13 conditional 14 @10");
    EXPECT_EQ(one_function_t("2e 74 01 90 c3").at(0x10), "10-13 conditional 14 @10");
}

TEST(Blocks, thePrefixOfSmallOperandsLeavesJumpsOf64BitCodeAsTheyAre)
{
    EXPECT_EQ(one_function_t("66 eb 01 90 c3").at(0x10), "10-13 jump 14 @10");
    EXPECT_EQ(one_function_t("66 e9 01 00 00 00 90 c3").at(0x10), "10-16 jump 17 @10");
    EXPECT_EQ(one_function_t("66 66 48 e8 01 00 00 00 90 c3").at(0x10), "10-18 call 19 @10");
}

TEST(Blocks, aByteThatIsNoInstructionEndsTheRunWithIt)
{
    one_function_t function("90 06 90 c3"); // 06 was push es once
    EXPECT_EQ(function.blocks(), (texts_t{"10-12 invalid @11", "12-14 ret @13"}));
    EXPECT_EQ(function.behind(0x10), "none");
}

TEST(Blocks, badBytesInARowAreBlocksOfTheirOwn)
{
    EXPECT_EQ(one_function_t("06 06 c3").blocks(),
              (texts_t{"10-11 invalid @10", "11-12 invalid @11", "12-13 ret @12"}));
}

TEST(Blocks, aJumpToABadByteCutsTheRunBeforeIt)
{
    EXPECT_EQ(one_function_t("90 06 eb fd").blocks(),
              (texts_t{"10-11 fallThrough @10", "11-12 invalid @11", "12-14 jump 11 @12"}));
}

TEST(Blocks, codeThatEndsWithoutATerminatorEndsInvalid)
{
    one_function_t function("90 90");
    EXPECT_EQ(function.blocks(), texts_t{"10-12 invalid @11"});
    EXPECT_EQ(function.behind(0x10), "none");
}

TEST(Blocks, anInstructionThatIsCutOffByTheEndIsNone)
{
    EXPECT_EQ(one_function_t("90 e8 01").blocks()[0], "10-12 invalid @11");
}

TEST(Blocks, aTargetInTheMiddleOfALockedInstructionIsAnOverlappingBlock)
{
    // je 0x13; lock inc (rdi); ret: the jump leaves out the prefix
    one_function_t function("74 01 f0 ff 07 c3");
    EXPECT_EQ(function.at(0x12), "12-15 fallThrough @12");
    EXPECT_EQ(function.at(0x13), "13-15 fallThrough @13");
    EXPECT_EQ(function.at(0x14), "12-15 fallThrough @12");
    EXPECT_EQ(function.behind(0x12), "15-16 ret @15");
    EXPECT_EQ(function.behind(0x13), "15-16 ret @15");
    EXPECT_EQ(function.blocks(), (texts_t{"10-12 conditional 13 @10", "12-15 fallThrough @12",
                                          "13-15 fallThrough @13", "15-16 ret @15"}));
}

TEST(Blocks, overlappingCodeHasBlocksWhereItBranchesToo)
{
    // jmp 0x13; mov eax, 0x90900175; ret. The hidden code is jne 0x16; nop; nop.
    one_function_t function("eb 01 b8 75 01 90 90 c3");
    EXPECT_EQ(function.blocks(),
              (texts_t{"10-12 jump 13 @10", "12-17 fallThrough @12", "13-15 conditional 16 @13",
                       "15-16 fallThrough @15", "16-17 fallThrough @16", "17-18 ret @17"}));
    EXPECT_EQ(function.behind(0x13), "15-16 fallThrough @15");
    EXPECT_EQ(function.behind(0x15), "16-17 fallThrough @16");
    EXPECT_EQ(function.behind(0x16), "17-18 ret @17");
}

TEST(Blocks, aSecondTargetCutsAnOverlappingBlock)
{
    // je 0x15; je 0x16; mov eax, 0x90909090; ret, entered at two of the nops
    one_function_t function("74 03 74 02 b8 90 90 90 90 c3");
    EXPECT_EQ(function.at(0x14), "14-19 fallThrough @14");
    EXPECT_EQ(function.at(0x15), "15-16 fallThrough @15");
    EXPECT_EQ(function.at(0x16), "16-19 fallThrough @18");
    EXPECT_EQ(function.at(0x17), "16-19 fallThrough @18"); // an instruction of the hidden code
    EXPECT_EQ(function.behind(0x15), "16-19 fallThrough @18");
    EXPECT_EQ(function.behind(0x16), "19-1a ret @19");
}

TEST(Blocks, anOverlappingBlockThatReachesTheEndOfTheCodeEndsInvalid)
{
    one_function_t function("75 01 b8 90 90 90 90"); // jne 0x13; mov eax, 0x90909090
    EXPECT_EQ(function.at(0x12), "12-17 invalid @12");
    EXPECT_EQ(function.at(0x13), "13-17 invalid @16");
    EXPECT_EQ(function.behind(0x13), "none");
}

TEST(Blocks, nowhereIsNoBlock)
{
    one_function_t function("90 c3");
    EXPECT_EQ(function.at(0x0f), "none");
    EXPECT_EQ(function.at(0x12), "none");
    EXPECT_EQ(function.at(~std::uint64_t{0}), "none");
    EXPECT_FALSE(function.navigator->stepToNext());
    EXPECT_FALSE(function.navigator->stepToFallThrough());
    EXPECT_EQ(function.at(0x11), "10-12 ret @11");
}

TEST(Blocks, aNewCursorIsOnNone)
{
    EXPECT_EQ(one_function_t("90 c3").navigator->getCurrentBlock(), nullptr);
}

TEST(Blocks, withoutASourceThereIsNoNavigator)
{
    EXPECT_EQ(navigatorOver(nullptr), nullptr);
}

} // namespace
