#include <PORTA_2_18/printable.h>

#include <gtest/gtest.h>

namespace {

using PORTA_2_18::generic::printable;

TEST(Printable, ControlCharactersAreShownByNumber)
{
    EXPECT_EQ(printable("plain text"), "plain text");
    EXPECT_EQ(printable("a\nb\tc"), "a\\x0ab\\x09c");
    EXPECT_EQ(printable("\x1b[2J\x7f"), "\\x1b[2J\\x7f");
    EXPECT_EQ(printable(std::string_view("a\0b", 3)), "a\\x00b");
    EXPECT_EQ(printable(""), "");
}

TEST(Printable, ControlCharactersBehindAsciiAreShownByNumber)
{
    EXPECT_EQ(printable("a\xc2\x9b"
                        "2J"),
              "a\\xc2\\x9b2J");
    EXPECT_EQ(printable("\xc2\xa0\xc2"), "\xc2\xa0\xc2");
}

TEST(Printable, BytesOfOtherLanguagesStay)
{
    EXPECT_EQ(printable("Gr\xc3\xb6\xc3\x9f"
                        "e"),
              "Gr\xc3\xb6\xc3\x9f"
              "e");
}

} // namespace
