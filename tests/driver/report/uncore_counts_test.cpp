#include "made_result.h"

#include "report/report_error.h"
#include "report/topology_tree.h"
#include "report/uncore_counts.h"

namespace samplefold::report {
namespace {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;
using testing::MadeSample;
using testing::number;
using testing::text;

constexpr std::uint64_t g_second = 1'000'000'000;

class UncoreCountsTest : public testing::MadeResultTest {
protected:
    UncoreCountsTest()
    {
        result().setInfo("ticks", "recorded");
        uncore = add("dd_uncore_event_type", {{"name", text("UNC_IIO_X.PART2[UNIT3]")}});
        event =
            add("dd_event_type", {{"name", text("x")}, {"uncore_event", indexToVariant(uncore)}});
        package = add("dd_package", {{"name", text("package_0")}});
        for (int i = 0; i < 2; ++i)
            cpus[i] = add("dd_cpu", {{"number", number(i)}, {"package", indexToVariant(package)}});
    }
    /// A row of the ticks from `start` to `end`.
    void count(std::uint64_t start, std::uint64_t end, std::int64_t count, int cpu = 0)
    {
        const auto record = result().instanceContainer()->createOrphanInstanceRecord();
        record->setKey(2, event.value());
        record->setKey(3, cpu >= 0 ? cpus[cpu].value() : -1);
        record->setInteger(1, static_cast<std::uint64_t>(count));
        record->setInteger(2, start);
        ASSERT_TRUE(record->insert(end));
        result().drain();
    }
    UncoreCount only(std::optional<std::uint64_t> interval = {})
    {
        const auto counts = readUncoreCounts(result(), interval).counts;
        EXPECT_EQ(counts.size(), 1U);
        return counts.begin()->second;
    }

    Index uncore, event, package;
    Index cpus[2];
};

TEST_F(UncoreCountsTest, ARateIsOverTheTimeThatWasCounted)
{
    count(1, g_second, 100);
    count(3 * g_second + 1, 4 * g_second, 300);
    const UncoreCount read = only();
    EXPECT_EQ(read.event, "UNC_IIO_X.PART2[UNIT3]");
    EXPECT_EQ(read.total.events(), 400);
    EXPECT_EQ(read.total.rate(), 200.0) << "two seconds of the four were counted";
}

TEST_F(UncoreCountsTest, CpusThatCountTheSameTimeCountItOnce)
{
    count(1, g_second, 100, 0);
    count(1, g_second, 50, 1);
    count(g_second / 2 + 1, 2 * g_second, 50, 1);
    EXPECT_EQ(only().total.rate(), 100.0);
}

TEST_F(UncoreCountsTest, ARowThatBeganEarlierAndEndsWithAnotherCountsAllOfItsTime)
{
    count(g_second + 1, 2 * g_second, 100, 0);
    count(1, 2 * g_second, 100, 1);
    EXPECT_EQ(only().total.rate(), 100.0);
}

TEST_F(UncoreCountsTest, IntervalsShareOutTheRowsThatLieInSeveral)
{
    count(1, g_second, 10);
    count(g_second + 1, 2 * g_second, 5);
    const UncoreCount read = only(300'000'000);
    ASSERT_EQ(read.intervals.size(), 7U);
    std::vector<std::int64_t> parts;
    for (const auto& [number, part] : read.intervals)
        parts.push_back(part.events());
    EXPECT_EQ(parts, (std::vector<std::int64_t>{3, 3, 3, 2, 1, 2, 1}));
    EXPECT_NEAR(read.intervals.at(6).rate().value(), 5.0, 5.1) << "only 0.2 s of it were counted";
    EXPECT_EQ(read.intervals.at(6).ticks, 200'000'000U);
}

TEST_F(UncoreCountsTest, IntervalsWithoutRowsAreLeftOut)
{
    count(1, g_second, 10);
    count(9 * g_second + 1, 10 * g_second, 20);
    const UncoreCount read = only(g_second);
    ASSERT_EQ(read.intervals.size(), 2U);
    EXPECT_EQ(read.intervals.at(9).events(), 20);
}

TEST_F(UncoreCountsTest, ImplausibleValuesAreToldBesideTheSum)
{
    count(1, g_second, 10);
    const auto drop = [&](int implausible, std::uint64_t values) {
        add("dd_counter_drop", {{"event_type", indexToVariant(event)},
                                {"cpu", indexToVariant(cpus[0])},
                                {"reason", text("some")},
                                {"implausible", number(implausible)},
                                {"count", tb2::variant_t(values)}});
    };
    drop(1, 3);
    drop(1, 4);
    drop(0, 90);
    const UncoreCount read = only();
    EXPECT_EQ(read.implausible, 7U);
    EXPECT_EQ(read.total.events(), 10);
}

TEST_F(UncoreCountsTest, ResultsWithoutTimesHaveNoRates)
{
    result().setInfo("ticks", "numbered");
    count(1, g_second, 10);
    EXPECT_EQ(only().total.rate(), std::nullopt);
    EXPECT_THROW(only(g_second), ReportError);
}

TEST_F(UncoreCountsTest, MoreIntervalsThanATableCouldShowAreRefused)
{
    count(1, g_second, 10);
    EXPECT_THROW(only(1), ReportError);
    EXPECT_THROW(only(9'999), ReportError);
    EXPECT_EQ(only(10'001).intervals.size(), 99'991U);
}

TEST_F(UncoreCountsTest, MoreIntervalsOfAllEventsThanMemoryShouldHoldAreRefused)
{
    const auto addAnother = [&](int number) {
        const std::string name = "UNC_" + std::to_string(number);
        uncore = add("dd_uncore_event_type", {{"name", text(name)}});
        event =
            add("dd_event_type", {{"name", text(name)}, {"uncore_event", indexToVariant(uncore)}});
        count(1, g_second, 10);
    };
    for (int number = 0; number < 20; ++number)
        addAnother(number);
    EXPECT_EQ(readUncoreCounts(result(), 10'001).counts.size(), 20U) << "20 times 99,991";
    addAnother(20);
    try {
        readUncoreCounts(result(), 10'001);
        FAIL() << "21 times 99,991 are more than 2,000,000";
    } catch (const ReportError& error) {
        EXPECT_NE(std::string(error.what())
                      .find("--interval makes more than 2000000 intervals of all events"),
                  std::string::npos)
            << error.what();
    }
}

TEST_F(UncoreCountsTest, CountsWrapAndNeverFail)
{
    count(1, g_second, INT64_MAX);
    count(g_second + 1, 2 * g_second, INT64_MAX);
    EXPECT_EQ(only(g_second).total.events(), -2);
}

TEST_F(UncoreCountsTest, RowsOfOtherEventsAreNone)
{
    add(MadeSample{addEvent("cycles"), {}, addThread(1, 1, "a"), cpus[0], 5});
    EXPECT_TRUE(readUncoreCounts(result(), {}).counts.empty());
    EXPECT_TRUE(readTopology(result()).packages.empty());
}

TEST_F(UncoreCountsTest, ACountStandsAtTheMostCertainOfItsPlaces)
{
    count(1, g_second, 10);
    const Index unit =
        add("dd_io_unit_info", {{"io_unit", number(3)}, {"package", indexToVariant(package)}});
    const Index channel = add("dd_io_channel_info", {{"channel", number(2)},
                                                     {"io_unit", indexToVariant(unit)},
                                                     {"package", indexToVariant(package)}});
    EXPECT_EQ(readTopology(result()).packages.at(0).counts.size(), 1U) << "tied to nothing yet";
    add("dd_uncore_event_place", {{"event", indexToVariant(uncore)},
                                  {"package", indexToVariant(package)},
                                  {"io_channel", indexToVariant(channel)},
                                  {"io_unit", indexToVariant(unit)}});
    const Topology topology = readTopology(result());
    ASSERT_EQ(topology.packages.size(), 1U);
    const TopologyUnit& shown = topology.packages[0].units.at(0);
    EXPECT_TRUE(topology.packages[0].counts.empty());
    EXPECT_TRUE(shown.counts.empty());
    ASSERT_EQ(shown.channels.at(0).counts.size(), 1U);
    EXPECT_EQ(shown.channels[0].counts[0].total.events(), 10);
}

TEST_F(UncoreCountsTest, CountsOfNoKnownCpuStandApart)
{
    count(1, g_second, 10, -1);
    const Topology topology = readTopology(result());
    ASSERT_EQ(topology.packages.size(), 1U);
    EXPECT_EQ(topology.packages[0].name, "[unknown package]");
    EXPECT_EQ(topology.packages[0].counts.at(0).total.rate(), 10.0);
}

} // namespace
} // namespace samplefold::report
