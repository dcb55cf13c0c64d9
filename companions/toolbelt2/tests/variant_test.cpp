#include <toolbelt2/variant.h>

#include <PORTA_2_18/assert.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using tb2::variant_t;
using kind_t = variant_t::kind_t;

constexpr auto g_s32Min = std::numeric_limits<std::int32_t>::min();
constexpr auto g_s64Min = std::numeric_limits<std::int64_t>::min();
constexpr auto g_u32Max = std::numeric_limits<std::uint32_t>::max();
constexpr auto g_u64Max = std::numeric_limits<std::uint64_t>::max();

static_assert(sizeof(variant_t) == 16);
static_assert(std::is_nothrow_move_constructible_v<variant_t>);
static_assert(std::is_nothrow_copy_constructible_v<variant_t>);

std::vector<std::string> g_fired;

/// Collects the assertions that fire during a test.
class Variant : public testing::Test {
protected:
    Variant()
    {
        g_fired.clear();
        PORTA_2_18::debug::setAssertionHandler([](const PORTA_2_18::debug::assertion_t& assertion) {
            g_fired.emplace_back(assertion.expression);
        });
    }
    ~Variant() override { PORTA_2_18::debug::setAssertionHandler(nullptr); }

    static void expectFired(const std::string& expression)
    {
        EXPECT_EQ(g_fired, std::vector<std::string>{expression});
        g_fired.clear();
    }
};

TEST_F(Variant, everyValueKeepsTheKindItWasMadeOf)
{
    EXPECT_EQ(variant_t().kind(), kind_t::null);
    EXPECT_EQ(variant_t(std::uint16_t{1}).kind(), kind_t::u16);
    EXPECT_EQ(variant_t(std::int32_t{1}).kind(), kind_t::s32);
    EXPECT_EQ(variant_t(std::uint32_t{1}).kind(), kind_t::u32);
    EXPECT_EQ(variant_t(std::int64_t{1}).kind(), kind_t::s64);
    EXPECT_EQ(variant_t(std::uint64_t{1}).kind(), kind_t::u64);
    EXPECT_EQ(variant_t(1.0).kind(), kind_t::real);
    EXPECT_EQ(variant_t("1").kind(), kind_t::text);
    EXPECT_EQ(variant_t(std::string_view("1")).kind(), kind_t::text);
}

TEST_F(Variant, onlyTheDefaultValueIsNull)
{
    EXPECT_TRUE(variant_t().is_null());
    EXPECT_FALSE(variant_t(0).is_null());
    EXPECT_FALSE(variant_t("").is_null());
}

TEST_F(Variant, theFiveIntegerKindsAreIntegers)
{
    EXPECT_TRUE(variant_t(std::uint16_t{0}).is_integer());
    EXPECT_TRUE(variant_t(std::int32_t{0}).is_integer());
    EXPECT_TRUE(variant_t(std::uint32_t{0}).is_integer());
    EXPECT_TRUE(variant_t(std::int64_t{0}).is_integer());
    EXPECT_TRUE(variant_t(std::uint64_t{0}).is_integer());
    EXPECT_FALSE(variant_t().is_integer());
    EXPECT_FALSE(variant_t(0.0).is_integer());
    EXPECT_FALSE(variant_t("0").is_integer());
}

TEST_F(Variant, a32BitReadTakesBoth32BitKinds)
{
    EXPECT_EQ(variant_t(g_s32Min).as_s32(), g_s32Min);
    EXPECT_EQ(variant_t(std::int32_t{-1}).as_s32(), -1);
    EXPECT_EQ(variant_t(std::uint32_t{7}).as_s32(), 7);
    EXPECT_EQ(variant_t(g_u32Max).as_s32(), -1);
    EXPECT_TRUE(g_fired.empty());
}

TEST_F(Variant, a64BitReadTakesBoth64BitKinds)
{
    EXPECT_EQ(variant_t(g_s64Min).as_s64(), g_s64Min);
    EXPECT_EQ(variant_t(std::uint64_t{7}).as_s64(), 7);
    EXPECT_EQ(variant_t(g_u64Max).as_s64(), -1);
    EXPECT_TRUE(g_fired.empty());
}

TEST_F(Variant, a32BitReadOfAnotherKindFiresAndGoesOn)
{
    const std::string text = "can_get<s32_t>()";
    EXPECT_EQ(variant_t(std::uint16_t{9}).as_s32(), 9);
    expectFired(text);
    EXPECT_EQ(variant_t(std::int64_t{0x1'0000'0005}).as_s32(), 5);
    expectFired(text);
    EXPECT_EQ(variant_t(g_u64Max).as_s32(), -1);
    expectFired(text);
    EXPECT_EQ(variant_t().as_s32(), 0);
    expectFired(text);
    EXPECT_EQ(variant_t(3.5).as_s32(), 0);
    expectFired(text);
    EXPECT_EQ(variant_t("12").as_s32(), 0);
    expectFired(text);
}

TEST_F(Variant, a64BitReadOfAnotherKindFiresAndGoesOn)
{
    const std::string text = "can_get<s64_t>()";
    EXPECT_EQ(variant_t(std::uint16_t{9}).as_s64(), 9);
    expectFired(text);
    EXPECT_EQ(variant_t(std::int32_t{-2}).as_s64(), -2);
    expectFired(text);
    EXPECT_EQ(variant_t(g_u32Max).as_s64(), 0xffffffff);
    expectFired(text);
    EXPECT_EQ(variant_t().as_s64(), 0);
    expectFired(text);
    EXPECT_EQ(variant_t(3.5).as_s64(), 0);
    expectFired(text);
    EXPECT_EQ(variant_t("12").as_s64(), 0);
    expectFired(text);
}

TEST_F(Variant, theReadableKindsAreThoseThatFireNothing)
{
    const std::vector<variant_t> values{variant_t(),
                                        variant_t(std::uint16_t{1}),
                                        variant_t(std::int32_t{1}),
                                        variant_t(std::uint32_t{1}),
                                        variant_t(std::int64_t{1}),
                                        variant_t(std::uint64_t{1}),
                                        variant_t(1.0),
                                        variant_t("1")};
    for (const variant_t& value : values) {
        static_cast<void>(value.as_s32());
        EXPECT_EQ(g_fired.empty(), value.is_s32_readable());
        g_fired.clear();
        static_cast<void>(value.as_s64());
        EXPECT_EQ(g_fired.empty(), value.is_s64_readable());
        g_fired.clear();
    }
}

TEST_F(Variant, integerBitsWidenSignedKindsByTheirSign)
{
    EXPECT_EQ(variant_t(std::int32_t{-1}).integer_bits(), g_u64Max);
    EXPECT_EQ(variant_t(g_u32Max).integer_bits(), 0xffffffffU);
    EXPECT_EQ(variant_t(std::uint16_t{0xffff}).integer_bits(), 0xffffU);
    EXPECT_EQ(variant_t(std::int64_t{-2}).integer_bits(), g_u64Max - 1);
    EXPECT_EQ(variant_t(g_u64Max).integer_bits(), g_u64Max);
    EXPECT_EQ(variant_t(1.5).integer_bits(), 0U);
    EXPECT_EQ(variant_t("1").integer_bits(), 0U);
    EXPECT_EQ(variant_t().integer_bits(), 0U);
}

TEST_F(Variant, aDoubleReadsBackAndEveryOtherKindReadsAsZero)
{
    EXPECT_EQ(variant_t(-0.125).as_double(), -0.125);
    EXPECT_EQ(variant_t(5).as_double(), 0.0);
    EXPECT_EQ(variant_t("5").as_double(), 0.0);
}

TEST_F(Variant, aTextKeepsAllItsBytes)
{
    using namespace std::string_view_literals;
    EXPECT_EQ(variant_t("a\0b"sv).as_text(), "a\0b"sv);
    EXPECT_EQ(variant_t("").as_text(), "");
    EXPECT_EQ(variant_t(std::string_view()).as_text(), "");
    EXPECT_EQ(variant_t(std::string(100000, 'x')).as_text(), std::string(100000, 'x'));
    EXPECT_EQ(variant_t(5).as_text(), "");
}

TEST_F(Variant, aTextIsACopyOfItsSource)
{
    std::string source = "main";
    const variant_t value(source);
    source[0] = 'p';
    EXPECT_EQ(value.as_text(), "main");
}

TEST_F(Variant, copiesOfATextShareOneBlock)
{
    const variant_t first("a text");
    const variant_t second = first;
    variant_t third;
    third = second;
    EXPECT_EQ(second.as_text().data(), first.as_text().data());
    EXPECT_EQ(third.as_text().data(), first.as_text().data());
}

TEST_F(Variant, theBlockLivesUntilItsLastCopyIsGone)
{
    variant_t last;
    {
        const variant_t first("a text that outlives the value it was made in");
        last = first;
    }
    EXPECT_EQ(last.as_text(), "a text that outlives the value it was made in");
}

TEST_F(Variant, aMoveTakesTheBlockAndLeavesNull)
{
    variant_t source("a text");
    const char* const bytes = source.as_text().data();
    const variant_t target(std::move(source));
    EXPECT_EQ(target.as_text().data(), bytes);
    EXPECT_TRUE(source.is_null());
}

TEST_F(Variant, moveAssignmentReplacesTheValue)
{
    variant_t source("new");
    variant_t target("old");
    target = std::move(source);
    EXPECT_EQ(target.as_text(), "new");
    target = variant_t(7);
    EXPECT_EQ(target.as_s32(), 7);
}

TEST_F(Variant, assignmentToItselfKeepsTheValue)
{
    variant_t value("kept");
    const variant_t& same = value;
    value = same;
    EXPECT_EQ(value.as_text(), "kept");
    variant_t& alias = value;
    value = std::move(alias);
    EXPECT_EQ(value.as_text(), "kept");
}

TEST_F(Variant, aCopyOfAnIntegerIsIndependent)
{
    variant_t first(1);
    const variant_t second = first;
    first = variant_t(2);
    EXPECT_EQ(second.as_s32(), 1);
    EXPECT_EQ(first.as_s32(), 2);
}

TEST_F(Variant, swapExchangesValuesOfDifferentKinds)
{
    variant_t text("t");
    variant_t number(std::uint64_t{8});
    text.swap(number);
    EXPECT_EQ(text, variant_t(std::uint64_t{8}));
    EXPECT_EQ(number, variant_t("t"));
}

TEST_F(Variant, equalityAsksForKindAndValue)
{
    EXPECT_EQ(variant_t(), variant_t());
    EXPECT_EQ(variant_t("abc"), variant_t(std::string("abc")));
    EXPECT_EQ(variant_t(0.5), variant_t(0.5));
    EXPECT_EQ(variant_t(0.0), variant_t(-0.0));
    EXPECT_NE(variant_t("abc"), variant_t("abd"));
    EXPECT_NE(variant_t(1), variant_t(2));
    EXPECT_NE(variant_t(std::int32_t{1}), variant_t(std::uint32_t{1}));
    EXPECT_NE(variant_t(std::int32_t{1}), variant_t(std::int64_t{1}));
    EXPECT_NE(variant_t(0), variant_t());
    EXPECT_NE(variant_t(""), variant_t());
}

TEST_F(Variant, copiesOfOneTextMayComeAndGoOnSeveralThreads)
{
    const variant_t shared("shared between threads");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&shared] {
            for (int round = 0; round < 20000; ++round) {
                const variant_t copy = shared;
                ASSERT_EQ(copy.as_text().size(), 22U);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(shared.as_text(), "shared between threads");
}

} // namespace
