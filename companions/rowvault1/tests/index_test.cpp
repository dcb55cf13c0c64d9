#include "result_fixture.h"

#include <rowvault1/index.h>

using rowvault1::Index;
using rowvault1::utils::variantToIndex;
using rowvault1::utils::variantToString;
using tb2::variant_t;

namespace {

TEST(Index, ADefaultKeyIsNoRow)
{
    EXPECT_EQ(Index().value(), -1);
    EXPECT_FALSE(Index().exist());
    EXPECT_TRUE(Index(0).exist());
    EXPECT_LT(Index(-1), Index(0));
}

TEST(Index, AnIntegerOfThirtyTwoOrSixtyFourBitsIsCutToThirtyTwo)
{
    EXPECT_EQ(variantToIndex(variant_t(7)).value(), 7);
    EXPECT_EQ(variantToIndex(variant_t(0xffffffffU)).value(), -1);
    EXPECT_EQ(variantToIndex(variant_t(std::int64_t{0x100000005})).value(), 5);
    EXPECT_EQ(variantToIndex(variant_t(std::uint64_t{0xfffffffffU})).value(), -1);
}

TEST(Index, NullIsNoRow)
{
    const AssertionLog log;
    EXPECT_FALSE(variantToIndex(variant_t()).exist());
    EXPECT_TRUE(log.expressions().empty());
}

TEST(Index, AnyOtherKindFires)
{
    const AssertionLog log;
    EXPECT_EQ(variantToIndex(variant_t("3")).value(), -1);
    EXPECT_EQ(variantToIndex(variant_t(3.0)).value(), -1);
    EXPECT_EQ(variantToIndex(variant_t(std::uint16_t{3})).value(), -1);
    EXPECT_EQ(log.expressions(), std::vector<std::string>(
                                     3, "Variant cannot be converted to db index - type mismatch"));
}

TEST(Index, TextIsCopiedAndNullIsEmpty)
{
    const AssertionLog log;
    EXPECT_EQ(variantToString(variant_t("abc")), "abc");
    EXPECT_EQ(variantToString(variant_t()), "");
    EXPECT_TRUE(log.expressions().empty());
    EXPECT_EQ(variantToString(variant_t(4)), "");
    EXPECT_EQ(log.expressions(),
              std::vector<std::string>{"Variant cannot be converted to string - type mismatch"});
}

TEST(Index, AKeyThatDoesNotExistIsWrittenAsNull)
{
    EXPECT_TRUE(rowvault1::utils::indexToVariant(Index()).is_null());
    EXPECT_EQ(rowvault1::utils::indexToVariant(Index(4)), variant_t(4));
}

} // namespace
