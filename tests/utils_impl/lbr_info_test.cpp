#include <samplefold_1/lbr_info.h>

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

namespace samplefold_1 {
namespace {

std::string textOf(const LbrInfo& info)
{
    std::ostringstream out;
    out << info;
    return out.str();
}

TEST(LbrInfo, TheLowSixteenBitsAreCyclesAndSetNoFlag)
{
    const LbrInfo info(0xFFFF);
    EXPECT_EQ(info.cycles, 0xFFFF);
    EXPECT_FALSE(info.mispredicted);
    EXPECT_FALSE(info.inHtm);
    EXPECT_FALSE(info.htmAbort);
}

TEST(LbrInfo, EachOfTheThreeUpperBitsIsAFlagOfItsOwn)
{
    EXPECT_EQ(LbrInfo(0x8000000000000000), LbrInfo(0, true, false, false));
    EXPECT_EQ(LbrInfo(0x4000000000000000), LbrInfo(0, false, true, false));
    EXPECT_EQ(LbrInfo(0x2000000000000000), LbrInfo(0, false, false, true));
}

TEST(LbrInfo, TheBitsBetweenAreNotLookedAt)
{
    EXPECT_EQ(LbrInfo(0x1FFFFFFFFFFF0007), LbrInfo(7, false, false, false));
}

TEST(LbrInfo, EqualityGoesByAllFields)
{
    const LbrInfo info(7, true, false, true);
    EXPECT_EQ(info, LbrInfo(7, true, false, true));
    EXPECT_NE(info, LbrInfo(8, true, false, true));
    EXPECT_NE(info, LbrInfo(7, false, false, true));
    EXPECT_NE(info, LbrInfo(7, true, true, true));
    EXPECT_NE(info, LbrInfo(7, true, false, false));
}

TEST(LbrInfo, TheTextHasTwoDigitsAtLeastAndNoFlagThatIsNotSet)
{
    EXPECT_EQ(textOf(LbrInfo(5)), "[LBR branch info]   cycles = 0x05");
    EXPECT_EQ(textOf(LbrInfo(0xabc)), "[LBR branch info]   cycles = 0xabc");
}

TEST(LbrInfo, TheFlagsFollowOneAnotherInTheText)
{
    EXPECT_EQ(textOf(LbrInfo(0xE000000000000010)),
              "[LBR branch info]   cycles = 0x10 MISPREDICTED IN_HTM_TRANSACTION "
              "HTM_TRANSACTION_ABORT");
}

TEST(LbrInfo, FillAndBaseOfTheStreamStayChanged)
{
    std::ostringstream out;
    out << LbrInfo(0) << ' ' << std::setw(4) << 26;
    EXPECT_EQ(out.str(), "[LBR branch info]   cycles = 0x00 001a");
}

} // namespace
} // namespace samplefold_1
