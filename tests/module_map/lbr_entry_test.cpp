#include <samplefold_1/lbr_entry.h>

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

namespace samplefold_1 {
namespace {

std::string textOf(const LbrEntry& entry)
{
    std::ostringstream out;
    out << entry;
    return out.str();
}

TEST(LbrEntry, AnAddressOfTheLowerHalfIsKept)
{
    EXPECT_EQ(LbrEntry(0x00007FFFFFFFFFFF, 0).ipFrom, 0x00007FFFFFFFFFFFU);
}

TEST(LbrEntry, BitFortySevenFillsTheUpperBits)
{
    EXPECT_EQ(LbrEntry(0x0000800000000000, 0).ipFrom, 0xFFFF800000000000U);
    EXPECT_EQ(LbrEntry(0, 0x0000FFFFFFFFFFFF).ipTo, 0xFFFFFFFFFFFFFFFFU);
}

TEST(LbrEntry, FlagBitsAboveTheAddressVanishAndStayInTheWord)
{
    const LbrEntry entry(0xC000000000001000, 0x6000000000002000);
    EXPECT_EQ(entry.ipFrom, 0x1000U);
    EXPECT_EQ(entry.rawFrom, 0xC000000000001000U);
    EXPECT_EQ(entry.ipTo, 0x2000U);
    EXPECT_EQ(entry.rawTo, 0x6000000000002000U);
}

TEST(LbrEntry, WordsThatDifferAboveTheAddressAreNotEqual)
{
    const LbrEntry a(0x8000000000001000, 0x2000);
    const LbrEntry b(0x1000, 0x2000);
    EXPECT_EQ(a.ipFrom, b.ipFrom);
    EXPECT_NE(a, b);
    EXPECT_NE(LbrEntry(1, 0x8000000000000002), LbrEntry(1, 2));
}

TEST(LbrEntry, TheInformationTakesPartInEquality)
{
    EXPECT_NE(LbrEntry(1, 2, LbrInfo(3)), LbrEntry(1, 2, LbrInfo(4)));
    EXPECT_EQ(LbrEntry(1, 2, LbrInfo(3)), LbrEntry(1, 2, std::uint64_t{3}));
}

TEST(LbrEntry, WithoutInformationItIsThatOfAWordOfZero)
{
    EXPECT_EQ(LbrEntry(5, 6), LbrEntry(5, 6, std::uint64_t{0}));
}

TEST(LbrEntry, TheTextShowsCanonicalAddressesCyclesAndFlags)
{
    EXPECT_EQ(textOf(LbrEntry(0x8000000000001000, 0x0000800000000000, std::uint64_t{9})),
              "[LBR entry] ip_from = 0x00001000   ip_to = 0xffff800000000000 cycles = 0x09");
    EXPECT_EQ(textOf(LbrEntry(0x12, 0x34, 0xE000000000000123)),
              "[LBR entry] ip_from = 0x00000012   ip_to = 0x00000034 cycles = 0x123 MISPREDICTED "
              "IN_HTM_TRANSACTION HTM_TRANSACTION_ABORT");
}

TEST(LbrEntry, FillAndBaseOfTheStreamStayChanged)
{
    std::ostringstream out;
    out << LbrEntry(0, 0) << ' ' << std::setw(4) << 26;
    EXPECT_EQ(out.str(),
              "[LBR entry] ip_from = 0x00000000   ip_to = 0x00000000 cycles = 0x00 001a");
}

} // namespace
} // namespace samplefold_1
