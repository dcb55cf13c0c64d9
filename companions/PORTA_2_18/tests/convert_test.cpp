#include <PORTA_2_18/convert.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <optional>
#include <random>
#include <string>

namespace {

using PORTA_2_18::generic::convert::str_to_uint64;

constexpr std::uint64_t g_untouched = 0x5a5a5a5a5a5a5a5aU;

/// The number read, nothing on failure; a failure must leave the output as it was.
std::optional<std::uint64_t> read(std::string_view text, int radix, bool allowTrailing = false)
{
    std::uint64_t out = g_untouched;
    if (str_to_uint64(text, out, radix, allowTrailing)) return out;
    EXPECT_EQ(out, g_untouched) << text;
    return std::nullopt;
}

TEST(StrToUint64, readsDecimalNumbers)
{
    EXPECT_EQ(read("0", 10), 0U);
    EXPECT_EQ(read("1234567890", 10), 1234567890U);
    EXPECT_EQ(read("007", 10), 7U);
}

TEST(StrToUint64, readsUpToTheLargestNumberAndNoFurther)
{
    EXPECT_EQ(read("18446744073709551615", 10), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(read("18446744073709551616", 10), std::nullopt);
    EXPECT_EQ(read("0xffffffffffffffff", 0), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(read("0x10000000000000000", 0), std::nullopt);
    EXPECT_EQ(read("18446744073709551616 and more", 10, true), std::nullopt);
}

TEST(StrToUint64, radixZeroTellsTheRadixByThePrefix)
{
    EXPECT_EQ(read("0x1F", 0), 31U);
    EXPECT_EQ(read("0X1f", 0), 31U);
    EXPECT_EQ(read("017", 0), 15U);
    EXPECT_EQ(read("17", 0), 17U);
    EXPECT_EQ(read("0", 0), 0U);
}

TEST(StrToUint64, radixSixteenTakesTheNumberWithOrWithoutPrefix)
{
    EXPECT_EQ(read("ff", 16), 255U);
    EXPECT_EQ(read("0xff", 16), 255U);
    EXPECT_EQ(read("0XFF", 16), 255U);
}

TEST(StrToUint64, everyRadixFromTwoToThirtySixIsRead)
{
    EXPECT_EQ(read("1011", 2), 11U);
    EXPECT_EQ(read("zz", 36), 35U * 36U + 35U);
    EXPECT_EQ(read("2", 2), std::nullopt);
}

TEST(StrToUint64, refusesARadixThatIsNone)
{
    EXPECT_EQ(read("1", 1), std::nullopt);
    EXPECT_EQ(read("1", 37), std::nullopt);
    EXPECT_EQ(read("1", -10), std::nullopt);
}

TEST(StrToUint64, refusesTextThatIsNoNumber)
{
    EXPECT_EQ(read("", 0), std::nullopt);
    EXPECT_EQ(read("", 0, true), std::nullopt);
    EXPECT_EQ(read(std::string_view(), 10), std::nullopt);
    EXPECT_EQ(read("x", 10, true), std::nullopt);
    EXPECT_EQ(read("0x", 0), std::nullopt);
    EXPECT_EQ(read("0xg", 0), std::nullopt);
    EXPECT_EQ(read("08", 0), std::nullopt);
    EXPECT_EQ(read("0x1f", 10), std::nullopt);
}

TEST(StrToUint64, refusesSignsAndBlanksInFront)
{
    for (const char* text : {"-1", "+1", " 1", "\t1", "-0x1", "0x-1", "0x+1", "0x 1"})
        EXPECT_EQ(read(text, 0), std::nullopt) << text;
    for (const char* text : {"-1", "+1", " 1", "\t1"})
        EXPECT_EQ(read(text, 10, true), std::nullopt) << text;
}

TEST(StrToUint64, textBehindTheNumberIsRefusedUnlessAllowed)
{
    EXPECT_EQ(read("12 cores", 10), std::nullopt);
    EXPECT_EQ(read("12 cores", 10, true), 12U);
    EXPECT_EQ(read("0x1fg", 0), std::nullopt);
    EXPECT_EQ(read("0x1fg", 0, true), 31U);
    EXPECT_EQ(read("12\n", 10), std::nullopt);
}

TEST(StrToUint64, readsNoFurtherThanTheViewGoes)
{
    const std::string text = "123456";
    EXPECT_EQ(read(std::string_view(text).substr(0, 3), 10), 123U);
    EXPECT_EQ(read(std::string_view("0x1f").substr(0, 3), 0), 1U);
}

TEST(StrToUint64, agreesWithTheCLibraryOnTextsOfDigits)
{
    std::mt19937_64 random(7);
    const std::string digits = "0123456789abcdefx";
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (std::size_t length = 1 + random() % 18; length > 0; --length)
            text += digits[random() % digits.size()];
        if (round % 2 == 0) text.insert(0, "0x");
        const int radix = std::array{0, 8, 10, 16}[random() % 4];
        char* end = nullptr;
        errno = 0;
        const std::uint64_t value = std::strtoull(text.c_str(), &end, radix);
        const bool whole = errno == 0 && *end == '\0';
        EXPECT_EQ(read(text, radix), whole ? std::optional(value) : std::nullopt)
            << text << " in radix " << radix;
    }
}

} // namespace
