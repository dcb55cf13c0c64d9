#include "made_chains.h"

#include "report/chain_frames.h"

#include <limits>
#include <string>

namespace samplefold::report {
namespace {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;

/// Frames with the letters' codes as their places.
std::vector<ChainFrame> frames(const std::string& letters)
{
    std::vector<ChainFrame> chain;
    for (const char letter : letters)
        chain.push_back({letter, "", 0, std::string(1, letter), false});
    return chain;
}

/// The pairs as words of two letters, a dot where one side has no frame.
std::string paired(const std::string& left, const std::string& right)
{
    std::string text;
    for (const FramePair& pair : sideBySide(frames(left), frames(right))) {
        text += text.empty() ? "" : " ";
        text += pair.left ? left[*pair.left] : '.';
        text += pair.right ? right[*pair.right] : '.';
    }
    return text;
}

TEST(SideBySide, EqualChainsStandFrameByFrame)
{
    EXPECT_EQ(paired("abc", "abc"), "aa bb cc");
    EXPECT_EQ(paired("", ""), "");
}

TEST(SideBySide, WhatOneChainHasBehindTheOtherStandsAlone)
{
    EXPECT_EQ(paired("abcd", "ab"), "aa bb c. d.");
    EXPECT_EQ(paired("a", "abc"), "aa .b .c");
    EXPECT_EQ(paired("", "ab"), ".a .b");
}

TEST(SideBySide, AFrameThatIsFilledInStandsAlone)
{
    EXPECT_EQ(paired("axbc", "abc"), "aa x. bb cc");
    EXPECT_EQ(paired("abc", "axybc"), "aa .x .y bb cc");
}

TEST(SideBySide, FramesThatDifferStandBesideEachOther)
{
    EXPECT_EQ(paired("axb", "ayb"), "aa xy bb");
    EXPECT_EQ(paired("axyz", "apq"), "aa xp yq z.");
}

TEST(SideBySide, RecursionMeetsAtTheNearestFrame)
{
    EXPECT_EQ(paired("arrrm", "arrm"), "aa rr rr r. mm");
}

TEST(SideBySide, LongChainsWithoutACommonFrameAreDoneSoon)
{
    const auto pairs = sideBySide(frames(std::string(3000, 'a')), frames(std::string(2000, 'b')));
    ASSERT_EQ(pairs.size(), 3000U);
    EXPECT_EQ(pairs[1999], (FramePair{1999, 1999}));
    EXPECT_EQ(pairs[2000], (FramePair{2000, std::nullopt}));
}

class ReadChain : public testing::MadeChainsTest {
protected:
    std::string texts(Index leaf)
    {
        std::string list;
        for (const ChainFrame& frame : readChain(result(), leaf.value()))
            list += frameText(frame) + "\n";
        return list;
    }
};

TEST_F(ReadChain, FramesComeFromTheLeafOnByFunctionOrModuleOrAddress)
{
    const Index outermost = frame({}, place("", 0x7000));
    const Index caller = frame(outermost, place("/lib/x.so", 0x20));
    name("/bin/app", 0x10, "work", "/bin/app");
    const Index leaf = frame(caller, place("/bin/app", 0x10));
    EXPECT_EQ(texts(leaf), "work\nx.so+0x20\n0x7000\n");
    EXPECT_EQ(texts(caller), "x.so+0x20\n0x7000\n");
}

TEST_F(ReadChain, TheFrameBehindWhichAChainGoesOnSaysSo)
{
    const Index leaf = frame(frame({}, place("", 1)), place("/bin/app", 0x10));
    const auto chain = readChain(result(), leaf.value());
    ASSERT_EQ(chain.size(), 2U);
    EXPECT_FALSE(chain[0].goesOn);
    EXPECT_TRUE(chain[1].goesOn);
    EXPECT_EQ(frameText(chain[1]), "[the chain goes on, how is not known]");
}

TEST_F(ReadChain, TheByteAtAddressOneOfAModuleIsAPlace)
{
    const auto chain = readChain(result(), frame({}, place("/bin/app", 1)).value());
    ASSERT_EQ(chain.size(), 1U);
    EXPECT_FALSE(chain[0].goesOn);
}

TEST_F(ReadChain, RowsThatAreNotThereAndCirclesEndAChain)
{
    EXPECT_EQ(texts(Index()), "");
    EXPECT_EQ(texts(Index(4711)), "");
    const Index self = add("dd_callsite", {{"parent", testing::number(1)},
                                           {"code_loc", indexToVariant(place("/bin/app", 8))}});
    ASSERT_EQ(self.value(), 1);
    EXPECT_EQ(texts(self), "app+0x8\n");
}

} // namespace
} // namespace samplefold::report
