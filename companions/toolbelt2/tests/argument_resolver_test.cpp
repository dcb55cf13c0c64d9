#include <toolbelt2/argument_resolver.h>

#include <gtest/gtest.h>

namespace {

using toolbelt2::internal::argument_resolver_t;

TEST(ArgumentResolver, aTextWithoutPlacesStaysAsItIs)
{
    EXPECT_EQ(argument_resolver_t("m_table && index < size").resolve(), "m_table && index < size");
    EXPECT_EQ(argument_resolver_t("").arg("unused").resolve(), "");
}

TEST(ArgumentResolver, eachPlaceTakesTheArgumentOfItsNumber)
{
    argument_resolver_t resolver("%2 before %1");
    resolver.arg("one").arg("two");
    EXPECT_EQ(resolver.resolve(), "two before one");
}

TEST(ArgumentResolver, aPlaceMayComeMoreThanOnce)
{
    EXPECT_EQ(argument_resolver_t("%1%1-%1").arg("ab").resolve(), "abab-ab");
}

TEST(ArgumentResolver, thereAreNinePlaces)
{
    argument_resolver_t resolver("%1%2%3%4%5%6%7%8%9");
    for (const char* letter : {"a", "b", "c", "d", "e", "f", "g", "h", "i"})
        resolver.arg(letter);
    EXPECT_EQ(resolver.resolve(), "abcdefghi");
}

TEST(ArgumentResolver, aPlaceIsOneDigitLong)
{
    EXPECT_EQ(argument_resolver_t("%10").arg("x").resolve(), "x0");
}

TEST(ArgumentResolver, aPlaceWithoutAnArgumentStaysAsItIs)
{
    EXPECT_EQ(argument_resolver_t("%1 and %2").arg("x").resolve(), "x and %2");
    EXPECT_EQ(argument_resolver_t("%1").resolve(), "%1");
}

TEST(ArgumentResolver, everyOtherPercentSignStaysAsItIs)
{
    EXPECT_EQ(argument_resolver_t("100%").arg("x").resolve(), "100%");
    EXPECT_EQ(argument_resolver_t("%0 %a %").arg("x").resolve(), "%0 %a %");
    EXPECT_EQ(argument_resolver_t("%%1").arg("x").resolve(), "%x");
}

TEST(ArgumentResolver, argumentsAreNotSearchedForPlaces)
{
    EXPECT_EQ(argument_resolver_t("%1 %2").arg("%2").arg("%1").resolve(), "%2 %1");
}

TEST(ArgumentResolver, resolvingTwiceGivesTheSameText)
{
    argument_resolver_t resolver("<%1>");
    resolver.arg("");
    EXPECT_EQ(resolver.resolve(), "<>");
    EXPECT_EQ(resolver.resolve(), "<>");
}

} // namespace
