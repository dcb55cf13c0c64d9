// What the ranges of a source have to do with its blocks.

#include "walk.h"

#include <gtest/gtest.h>

namespace {

using namespace pathnav_test;
using texts_t = std::vector<std::string>;
using source_ptr_t = boost::intrusive_ptr<ByteSource>;

constexpr std::uint64_t g_mebibyte = 1 << 20;

source_ptr_t sourceOf(std::uint64_t base, std::string bytes, std::vector<code_range_t> ranges)
{
    return new toolbelt2::ref_counted_t<ByteSource>(base, std::move(bytes), std::move(ranges));
}

TEST(Ranges, aFunctionBeginsABlockEvenWhereTheOneBeforeRunsIntoIt)
{
    const auto navigator = navigatorOver(
        sourceOf(0x10, fromHexText("90 90 90 c3"), {{0x10, 0x12, true}, {0x12, 0x14, true}}));
    EXPECT_EQ(blocksFrom(*navigator, 0x10), (texts_t{"10-12 fallThrough @11", "12-14 ret @13"}));
    EXPECT_EQ(fallThroughOf(*navigator, 0x10), "12-14 ret @13");
}

TEST(Ranges, stepsLeadOverGapsToTheNextFunction)
{
    const auto navigator = navigatorOver(sourceOf(0x10, fromHexText("90 c3 cc cc 90 90 c3"),
                                                  {{0x10, 0x12, true}, {0x14, 0x17, true}}));
    EXPECT_EQ(blocksFrom(*navigator, 0x10), (texts_t{"10-12 ret @11", "14-17 ret @16"}));
}

TEST(Ranges, aFunctionIsDecodedByTheFirstStepIntoIt)
{
    const source_ptr_t source =
        sourceOf(0x10, fromHexText("90 c3 90 c3"), {{0x10, 0x12, true}, {0x12, 0x14, true}});
    const auto navigator = navigatorOver(source);
    EXPECT_EQ(source->reads, 0);
    navigator->goTo(0x11);
    EXPECT_EQ(source->reads, 1);
    navigator->goTo(0x10);
    EXPECT_EQ(source->reads, 1);
    EXPECT_TRUE(navigator->stepToNext());
    EXPECT_EQ(source->reads, 2);
    navigator->goTo(0x10);
    navigator->goTo(0x12);
    EXPECT_EQ(source->reads, 2);
}

TEST(Ranges, aJumpIntoADecodedFunctionCutsABlockThereAtOnce)
{
    // nop; nop; ret | jmp 0x11
    const auto navigator = navigatorOver(
        sourceOf(0x10, fromHexText("90 90 c3 eb fc"), {{0x10, 0x13, true}, {0x13, 0x15, true}}));
    EXPECT_EQ(blockAt(*navigator, 0x10), "10-13 ret @12");
    IBasicBlock* first = navigator->getCurrentBlock();
    first->visitMark() = 7;
    EXPECT_EQ(blockAt(*navigator, 0x13), "13-15 jump 11 @13");
    EXPECT_EQ(textOf(first), "10-11 fallThrough @10");
    EXPECT_EQ(blockAt(*navigator, 0x12), "11-13 ret @12");
    EXPECT_EQ(navigator->getCurrentBlock()->visitMark(), 0u);
    EXPECT_EQ(first->visitMark(), 7u);
}

TEST(Ranges, aJumpIntoAFunctionThatIsDecodedLaterCutsABlockThen)
{
    // jmp 0x14 | nop; nop; nop; ret
    const auto navigator = navigatorOver(
        sourceOf(0x10, fromHexText("eb 02 90 90 90 c3"), {{0x10, 0x12, true}, {0x12, 0x16, true}}));
    EXPECT_EQ(blocksFrom(*navigator, 0x10),
              (texts_t{"10-12 jump 14 @10", "12-14 fallThrough @13", "14-16 ret @15"}));
}

TEST(Ranges, aJumpIntoAnInstructionOfAnotherFunctionOverlapsIt)
{
    for (const bool isFirst : {true, false}) {
        // jmp 0x13 | lock inc (rdi); ret
        const auto navigator = navigatorOver(sourceOf(0x10, fromHexText("eb 01 f0 ff 07 c3"),
                                                      {{0x10, 0x12, true}, {0x12, 0x16, true}}));
        navigator->goTo(isFirst ? 0x10 : 0x12);
        navigator->goTo(isFirst ? 0x12 : 0x10);
        EXPECT_EQ(blockAt(*navigator, 0x13), "13-15 fallThrough @13");
        EXPECT_EQ(fallThroughOf(*navigator, 0x13), "15-16 ret @15");
    }
}

TEST(Ranges, blocksStayWhereTheyAreWhileMoreIsDecoded)
{
    std::string bytes;
    std::vector<code_range_t> ranges;
    for (std::uint64_t i = 0; i < 1000; ++i) {
        bytes += fromHexText("90 c3");
        ranges.push_back({2 * i, 2 * i + 2, true});
    }
    const auto navigator = navigatorOver(sourceOf(0, bytes, ranges));
    std::vector<IBasicBlock*> blocks;
    for (std::uint64_t i = 0; i < 1000; ++i) {
        navigator->goTo(2 * (i * 617 % 1000));
        blocks.push_back(navigator->getCurrentBlock());
        blocks.back()->visitMark() = i + 1;
    }
    for (std::uint64_t i = 0; i < 1000; ++i) {
        EXPECT_EQ(blocks[i]->getStart(), 2 * (i * 617 % 1000));
        EXPECT_EQ(blocks[i]->visitMark(), i + 1);
    }
}

TEST(Ranges, bytesThatAreMissingAreNoCode)
{
    const auto navigator = navigatorOver(sourceOf(
        0x10, fromHexText("90 90"), {{0x10, 0x20, true}, {0x20, 0x30, true}, {0x40, 0x50, true}}));
    EXPECT_EQ(blocksFrom(*navigator, 0x10), texts_t{"10-12 invalid @11"});
    EXPECT_EQ(blockAt(*navigator, 0x18), "none");
    EXPECT_EQ(blockAt(*navigator, 0x40), "none");
}

TEST(Ranges, aFunctionThatClaimsToBeHugeIsReadOnlyWhereAsked)
{
    const std::uint64_t huge = std::uint64_t{1} << 40;
    std::string bytes(3 * g_mebibyte, '\x90');
    const source_ptr_t source = sourceOf(0, bytes, {{0, huge, true}, {huge, huge + 8, true}});
    const auto navigator = navigatorOver(source);
    EXPECT_EQ(blockAt(*navigator, huge - 1), "none");
    navigator->goTo(0);
    std::uint64_t end = 0;
    int steps = 0;
    do {
        EXPECT_EQ(navigator->getCurrentBlock()->getStart(), end);
        end += navigator->getCurrentBlock()->getSize();
    } while (navigator->stepToFallThrough() && ++steps < 100);
    EXPECT_EQ(end, 3 * g_mebibyte);
    EXPECT_LT(source->reads, 20);
    EXPECT_FALSE(navigator->stepToNext());
}

TEST(Ranges, aPieceEndsBetweenTwoInstructions)
{
    // mov rax, [rip+...] has seven bytes, which do not divide a mebibyte
    std::string bytes;
    while (bytes.size() < 2 * g_mebibyte)
        bytes += fromHexText("48 8b 05 00 00 00 00");
    const auto navigator = navigatorOver(sourceOf(0, bytes, {{0, bytes.size(), true}}));
    navigator->goTo(0);
    int blocks = 0;
    do {
        const IBasicBlock& block = *navigator->getCurrentBlock();
        EXPECT_EQ(block.getStart() % 7, 0u);
        EXPECT_EQ(block.getSize() % 7, 0u);
        EXPECT_EQ(block.getLastInstruction() + 7, block.getStart() + block.getSize());
        ++blocks;
    } while (navigator->stepToFallThrough());
    EXPECT_LE(blocks, 4);
    EXPECT_EQ(navigator->getCurrentBlock()->getTerminatorKind(), 6);
}

TEST(Ranges, farFromAllThatIsKnownCodeBeginsWhereTheCallerWent)
{
    // Instructions of two bytes; the odd addresses are in their middle.
    std::string bytes;
    while (bytes.size() < 4 * g_mebibyte)
        bytes += fromHexText("b0 b0");
    const source_ptr_t source = sourceOf(0, bytes, {{0, bytes.size(), false}});
    const auto navigator = navigatorOver(source);
    const std::uint64_t odd = 2 * g_mebibyte + 1;
    navigator->goTo(odd);
    ASSERT_NE(navigator->getCurrentBlock(), nullptr);
    EXPECT_EQ(navigator->getCurrentBlock()->getStart(), odd);
    EXPECT_LE(source->reads, 2);
    // What stands before it is decoded when it is asked for, and ends there.
    navigator->goTo(odd - 1);
    EXPECT_EQ(navigator->getCurrentBlock()->getStart() + navigator->getCurrentBlock()->getSize(),
              odd);
}

TEST(Ranges, codeThatMeetsItselfNowhereCostsNoMoreThanItsBytes)
{
    // Jumps into the middle of instructions, all into a second run of code as long as the piece:
    // decoding that from each of them would take hours.
    std::string bytes;
    const std::size_t jumps = 100'000;
    const std::size_t filling = 800'000;
    for (std::size_t i = 0; i < jumps; ++i) {
        const std::size_t from = bytes.size() + 6;
        const auto distance = static_cast<std::uint32_t>(6 * jumps + 2 * i + 1 - from);
        bytes += fromHexText("0f 84");
        for (int byte = 0; byte < 4; ++byte)
            bytes += static_cast<char>(distance >> 8 * byte & 0xff);
    }
    bytes.append(filling, '\xb0'); // mov al, 0xb0 from the even and the odd addresses
    const auto navigator = navigatorOver(sourceOf(0, bytes, {{0, bytes.size(), true}}));
    std::size_t blocks = 0;
    navigator->goTo(0);
    do
        ++blocks;
    while (navigator->stepToNext());
    EXPECT_GE(blocks, 2 * jumps);
    EXPECT_LE(blocks, bytes.size());
    EXPECT_EQ(blockAt(*navigator, 6 * jumps + 3), "927c3-927c5 fallThrough @927c3");
}

TEST(Ranges, aSourceThatContradictsItselfEndsTheWalk)
{
    class Liar : public ByteSource {
    public:
        using ByteSource::ByteSource;
        bool findNextCode(std::uint64_t, code_range_t& range) const override
        {
            range = {0x10, 0x12, true}; // for ever
            return true;
        }
    };
    const ObjectPtr<IDataSource> source = new toolbelt2::ref_counted_t<Liar>(
        0x10, fromHexText("90 c3"), std::vector<code_range_t>{{0x10, 0x12, true}});
    const auto navigator = navigatorOver(source);
    EXPECT_EQ(blocksFrom(*navigator, 0x10), texts_t{"10-12 ret @11"});
}

} // namespace
