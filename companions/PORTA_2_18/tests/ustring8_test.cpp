#include <PORTA_2_18/ustring8.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using PORTA_2_18::ustring8;

TEST(Ustring8, isEmptyAndTerminatedByDefault)
{
    const ustring8 text;
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text.size(), 0U);
    EXPECT_STREQ(text.c_str(), "");
}

TEST(Ustring8, ownsACopyOfItsBytes)
{
    std::string source = "/opt/\xff\xfe-odd";
    const ustring8 text(source);
    source.assign(source.size(), '#');
    EXPECT_EQ(text.view(), "/opt/\xff\xfe-odd");
    EXPECT_EQ(text.size(), 11U);
    EXPECT_EQ(text.str(), text.c_str());
}

TEST(Ustring8, aCopyIsIndependentOfItsOriginal)
{
    ustring8 first(std::string_view("lib"));
    const ustring8 second = first;
    first += ".so";
    EXPECT_EQ(first.view(), "lib.so");
    EXPECT_EQ(second.view(), "lib");
}

TEST(Ustring8, appendsToTheEndAndGivesItselfBack)
{
    ustring8 text;
    (text += "a") += "bc";
    EXPECT_STREQ(text.c_str(), "abc");
}

TEST(Ustring8, comparesByBytes)
{
    EXPECT_EQ(ustring8(std::string_view("a")), ustring8(std::string_view("a")));
    EXPECT_LT(ustring8(std::string_view("a")), ustring8(std::string_view("b")));
    EXPECT_GT(ustring8(std::string_view("\xc3\xa9")), ustring8(std::string_view("z")));
}

} // namespace
