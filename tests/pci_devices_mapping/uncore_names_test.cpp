#include "common/uncore_names.h"

#include <gtest/gtest.h>

#include <ios>
#include <random>
#include <sstream>

// What streams make of digits is what counts, so they are the oracle here.
namespace samplefold_1::uncore_names {
namespace {

template <class Number>
Number byStream(const std::string& digits, Number before, bool hexadecimal = false)
{
    std::istringstream in(digits);
    if (hexadecimal) in >> std::hex;
    Number value = before;
    in >> value;
    return value;
}

TEST(UncoreNumbers, ReadAsAStreamReadsThem)
{
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        std::string digits;
        for (std::size_t left = random() % 14; left > 0; --left)
            digits += static_cast<char>('0' + random() % 10);
        int number = -1;
        readNumber(digits, number);
        ASSERT_EQ(number, byStream(digits, -1)) << digits;
    }
}

TEST(UncoreNumbers, HexadecimalOnesToo)
{
    std::mt19937 random(2);
    for (int round = 0; round < 20000; ++round) {
        std::string digits;
        for (std::size_t left = random() % 11; left > 0; --left)
            digits += "0123456789abcdefABCDEF"[random() % 22];
        unsigned int number = 5;
        readHexNumber(digits, number);
        ASSERT_EQ(number, byStream(digits, 5u, true)) << digits;
    }
}

TEST(UncoreNumbers, AndThoseWithAPoint)
{
    const std::string zeros(400, '0');
    for (const std::string& digits :
         {std::string("8"), std::string("2.5"), std::string(".5"), std::string("0.1"),
          std::string("16.000"), "1" + zeros, "1" + zeros + ".5", "0." + zeros + "1",
          "." + zeros + "1", zeros + "3"}) {
        double number = -1;
        readDecimal(digits, number);
        EXPECT_EQ(number, byStream(digits, -1.0)) << digits;
    }
}

TEST(UncoreNumbers, ANumberBeyondTheRangeIsTheLargestAndAFailure)
{
    int number = 0;
    EXPECT_TRUE(readNumber("2147483647", number));
    EXPECT_FALSE(readNumber("2147483648", number));
    EXPECT_EQ(number, 2147483647);
    EXPECT_FALSE(readNumber("", number));
}

} // namespace
} // namespace samplefold_1::uncore_names
