#include "made_result.h"

#include "report/report_error.h"
#include "report/sql_rows.h"
#include "report/time_range.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace samplefold::report {
namespace {

constexpr std::uint64_t g_lastTick = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t g_upperHalf = std::uint64_t{1} << 63;

std::string read(std::string_view text)
{
    const auto point = parseTime(text);
    if (!point) return "no time";
    return (point->sinceFirst ? "+" : "") + std::to_string(point->value);
}

TEST(TicksInTest, SecondsAreTheNearestWholeTicks)
{
    EXPECT_EQ(ticksIn(0.3), 300'000'000U) << "0.3 is a little less as a binary fraction";
    EXPECT_EQ(ticksIn(1e-10), 0U);
    EXPECT_EQ(ticksIn(1e9), 1'000'000'000'000'000'000U);
}

TEST(ParseTimeTest, APlainNumberIsATick)
{
    EXPECT_EQ(read("0"), "0");
    EXPECT_EQ(read("2494794732961"), "2494794732961");
    EXPECT_EQ(read("18446744073709551615"), "18446744073709551615");
}

TEST(ParseTimeTest, AUnitMakesItATimeSinceTheFirstTick)
{
    EXPECT_EQ(read("2s"), "+2000000000");
    EXPECT_EQ(read("3ms"), "+3000000");
    EXPECT_EQ(read("4us"), "+4000");
    EXPECT_EQ(read("5ns"), "+5");
    EXPECT_EQ(read("0s"), "+0");
}

TEST(ParseTimeTest, DecimalsAreExactDownToANanosecond)
{
    EXPECT_EQ(read("0.1s"), "+100000000");
    EXPECT_EQ(read("1.234567891s"), "+1234567891");
    EXPECT_EQ(read("1.5ms"), "+1500000");
    EXPECT_EQ(read("0.001us"), "+1");
    EXPECT_EQ(read("7.000ns"), "+7");
    EXPECT_EQ(read("9007199254.740993s"), "+9007199254740993000") << "more digits than a double";
}

TEST(ParseTimeTest, OtherTextsAreNoTimes)
{
    for (const char* text : {"",
                             "s",
                             "-1",
                             "+1",
                             "1.5",
                             "1.",
                             "1.s",
                             ".5s",
                             "1.2.3s",
                             "1m",
                             "1S",
                             "1 s",
                             " 1",
                             "1e3",
                             "0x10",
                             "1.0005us",
                             "0.5ns",
                             "18446744073709551616",
                             "18446744073.709551616s",
                             "99999999999999999999s"})
        EXPECT_EQ(read(text), "no time") << text;
}

TEST(TickRangeTest, OnlyTwoEndsCanBeBackward)
{
    EXPECT_FALSE((TickRange{5, {}}).isBackward());
    EXPECT_FALSE((TickRange{{}, 5}).isBackward());
    EXPECT_FALSE((TickRange{5, 5}).isBackward());
    EXPECT_TRUE((TickRange{6, 5}).isBackward());
    EXPECT_FALSE(TickRange{}.isSet());
    EXPECT_TRUE((TickRange{0, {}}).isSet());
}

class TimeRangeTest : public testing::MadeResultTest {
protected:
    /// Ticks of the rows in a range, by falling and by rising sign, as the store has them.
    std::vector<std::uint64_t> ticksIn(const TickRange& range)
    {
        std::vector<std::uint64_t> ticks;
        visitRows(result(), "SELECT end_tsc FROM sample_instance" + whereInRange(range),
                  [&](const auto& row) { ticks.push_back(row[0].integer_bits()); });
        std::sort(ticks.begin(), ticks.end());
        return ticks;
    }
    void addTicks(std::initializer_list<std::uint64_t> ticks)
    {
        for (const std::uint64_t tick : ticks)
            add({{}, {}, {}, {}, 1, {}, tick});
    }
    std::string planOf(const TickRange& range)
    {
        std::string plan;
        visitRows(result(),
                  "EXPLAIN QUERY PLAN SELECT count(*) FROM sample_instance" + whereInRange(range),
                  [&](const auto& row) { plan += toText(row[3]) + "\n"; });
        return plan;
    }
};

using ticks_t = std::vector<std::uint64_t>;

TEST_F(TimeRangeTest, BothEndsAreIncluded)
{
    addTicks({9, 10, 11, 19, 20, 21});
    EXPECT_EQ(ticksIn({10, 20}), (ticks_t{10, 11, 19, 20}));
    EXPECT_EQ(ticksIn({20, 20}), (ticks_t{20}));
    EXPECT_EQ(ticksIn({12, 18}), (ticks_t{}));
}

TEST_F(TimeRangeTest, AnEndThatIsNotSetIsOpen)
{
    addTicks({1, 10, g_upperHalf, g_lastTick});
    EXPECT_EQ(ticksIn({10, {}}), (ticks_t{10, g_upperHalf, g_lastTick}));
    EXPECT_EQ(ticksIn({{}, 10}), (ticks_t{1, 10}));
    EXPECT_EQ(ticksIn({}), (ticks_t{1, 10, g_upperHalf, g_lastTick}));
}

TEST_F(TimeRangeTest, TicksOfTheUpperHalfAreBehindAllOthers)
{
    addTicks({5, g_upperHalf - 1, g_upperHalf, g_upperHalf + 7, g_lastTick});
    EXPECT_EQ(ticksIn({6, g_upperHalf}), (ticks_t{g_upperHalf - 1, g_upperHalf}));
    EXPECT_EQ(ticksIn({g_upperHalf, g_lastTick - 1}), (ticks_t{g_upperHalf, g_upperHalf + 7}));
    EXPECT_EQ(ticksIn({g_upperHalf + 1, {}}), (ticks_t{g_upperHalf + 7, g_lastTick}));
    EXPECT_EQ(ticksIn({{}, g_upperHalf - 1}), (ticks_t{5, g_upperHalf - 1}));
}

TEST_F(TimeRangeTest, OnlyTheRangeIsRead)
{
    for (const TickRange& range :
         {TickRange{10, 20}, {10, {}}, {{}, 20}, {10, g_lastTick}, {g_upperHalf, g_lastTick}}) {
        const std::string plan = planOf(range);
        EXPECT_NE(plan.find("SEARCH sample_instance USING PRIMARY KEY"), std::string::npos) << plan;
        EXPECT_EQ(plan.find("SCAN"), std::string::npos) << plan;
    }
    EXPECT_NE(planOf({}).find("SCAN"), std::string::npos) << "what the others must not say";
}

TEST_F(TimeRangeTest, TimesCountFromTheFirstTickOfTheRecording)
{
    result().setInfo("ticks", "recorded");
    result().setInfo("first_time", "1000");
    EXPECT_EQ(tickOf(result(), {true, 5}), 1005U);
    EXPECT_EQ(tickOf(result(), {false, 5}), 5U);
    EXPECT_EQ(tickOf(result(), {true, g_lastTick - 1000}), g_lastTick);
    EXPECT_EQ(tickOf(result(), {true, g_lastTick}), g_lastTick) << "the sum does not wrap";
}

TEST_F(TimeRangeTest, WhereTicksAreNumbersThereAreNoTimes)
{
    EXPECT_THROW(tickOf(result(), {true, 5}), ReportError) << "nothing is known of times";
    result().setInfo("first_time", "1000");
    result().setInfo("ticks", "numbered");
    EXPECT_THROW(tickOf(result(), {true, 5}), ReportError);
    EXPECT_EQ(tickOf(result(), {false, 5}), 5U);
}

TEST_F(TimeRangeTest, SumsOverTheRecordingHaveNoTicks)
{
    EXPECT_NO_THROW(checkRowsHaveTicks(result()));
    result().setInfo("store_each_sample", "off");
    EXPECT_THROW(checkRowsHaveTicks(result()), ReportError);
}

} // namespace
} // namespace samplefold::report
