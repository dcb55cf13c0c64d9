#include "result_fixture.h"

#include <rowvault1/context.h>

#include <limits>
#include <utility>

namespace rowvault1 {
namespace {

using tb2::variant_t;

class ContextManagerTest : public ResultTest {
protected:
    static bool set(IResult& result, std::string_view name, const variant_t& value)
    {
        return result.perfDatabase()->getContextManager()->setValue(name, value);
    }
    static variant_t get(IResult& result, std::string_view name)
    {
        return result.perfDatabase()->getContextManager()->value(name);
    }
};

TEST_F(ContextManagerTest, AValueIsFoundByItsName)
{
    const auto result = create();
    EXPECT_TRUE(set(*result, "a", variant_t(std::int32_t{3})));
    EXPECT_TRUE(set(*result, "b", variant_t("text")));
    EXPECT_EQ(get(*result, "a"), variant_t(std::int32_t{3}));
    EXPECT_EQ(get(*result, "b"), variant_t("text"));
}

TEST_F(ContextManagerTest, ANameThatWasNeverSetHasTheNullValue)
{
    EXPECT_TRUE(get(*create(), "a").is_null());
}

TEST_F(ContextManagerTest, ALaterValueTakesThePlaceOfTheEarlier)
{
    auto result = create();
    set(*result, "a", variant_t(std::int32_t{3}));
    EXPECT_TRUE(set(*result, "a", variant_t("three")));
    EXPECT_EQ(get(*result, "a"), variant_t("three"));
    result->finish();
    result.reset();
    EXPECT_EQ(shell("SELECT name, kind, value FROM dd_context_value"), "a|text|three");
}

TEST_F(ContextManagerTest, ValuesAreInTheResultWhenItIsOpenedAgain)
{
    auto result = create();
    set(*result, "groups", variant_t(std::int32_t{-7}));
    result->finish();
    result.reset();
    EXPECT_EQ(shell("SELECT name, kind, value FROM dd_context_value"), "groups|s32|-7");
    EXPECT_EQ(get(*open(open_mode_t::read_only), "groups"), variant_t(std::int32_t{-7}));
}

TEST_F(ContextManagerTest, AResultForReadingTakesNoValue)
{
    create()->finish();
    const auto result = open(open_mode_t::read_only);
    EXPECT_FALSE(set(*result, "a", variant_t("x")));
    EXPECT_TRUE(get(*result, "a").is_null());
}

TEST_F(ContextManagerTest, ANameIsNeverEmpty)
{
    const auto result = create();
    EXPECT_FALSE(set(*result, "", variant_t("x")));
    EXPECT_TRUE(get(*result, "").is_null());
}

TEST_F(ContextManagerTest, NamesAreNoSql)
{
    const auto result = create();
    EXPECT_TRUE(set(*result, "a' OR '1'='1", variant_t("quoted")));
    EXPECT_TRUE(get(*result, "a").is_null());
    EXPECT_EQ(get(*result, "a' OR '1'='1"), variant_t("quoted"));
}

TEST_F(ContextManagerTest, EveryKindIsReadableAndComesBackAsItWas)
{
    const std::pair<variant_t, const char*> cases[] = {
        {variant_t(), "null|"},
        {variant_t(std::uint16_t{65535}), "u16|65535"},
        {variant_t(std::numeric_limits<std::int32_t>::min()), "s32|-2147483648"},
        {variant_t(std::uint32_t{4294967295U}), "u32|4294967295"},
        {variant_t(std::numeric_limits<std::int64_t>::min()), "s64|-9223372036854775808"},
        {variant_t(std::numeric_limits<std::uint64_t>::max()), "u64|18446744073709551615"},
        {variant_t(0.1), "real|0.1"},
        {variant_t(1e300), "real|1e+300"},
        {variant_t("two words"), "text|two words"},
        {variant_t(""), "text|"},
    };
    auto result = create();
    std::string expected;
    for (const auto& [value, stored] : cases) {
        set(*result, "v" + std::to_string(expected.size()), value);
        EXPECT_EQ(get(*result, "v" + std::to_string(expected.size())), value) << stored;
        expected += std::string(stored) + "\n";
    }
    result->finish();
    EXPECT_EQ(shell("SELECT kind, value FROM dd_context_value ORDER BY id") + "\n", expected);
}

TEST_F(ContextManagerTest, RowsThatSomebodySpoiledReadAsNull)
{
    auto result = create();
    set(*result, "a", variant_t(std::int32_t{3}));
    result->finish();
    result.reset();
    for (const char* const spoiled :
         {"'s32', 'three'", "'s32', '2147483648'", "'u16', '-1'", "'s64', '12 '", "'real', ''",
          "'number', '12'", "null, null"}) {
        shell(std::string("UPDATE dd_context_value SET (kind, value) = (") + spoiled + ")");
        EXPECT_TRUE(get(*open(open_mode_t::read_only), "a").is_null()) << spoiled;
    }
}

TEST_F(ContextManagerTest, RowsThatWaitForTheWriterAreWrittenFirst)
{
    const auto result = create();
    addRow(*result, "dd_quality", {{0, variant_t("before")}});
    EXPECT_TRUE(set(*result, "a", variant_t("x")));
    result->finish();
    EXPECT_EQ(shell("SELECT reason FROM dd_quality"), "before");
}

} // namespace
} // namespace rowvault1
