#include "made_bands.h"

#include "report/report_error.h"
#include "report/sql_rows.h"
#include "report/timeline.h"

#include <numeric>

namespace samplefold::report {
namespace {

using rowvault1::Index;
using Bins = std::vector<long double>;

class TimelineTest : public testing::MadeBandsTest {
protected:
    void interval(Index thread, std::uint64_t start, std::uint64_t end, std::int64_t count,
                  Index event = {})
    {
        add({event.exist() ? event : cycles, place, thread, Index(), count, {}, end, start});
    }
    /// The recording's ticks, which are nanoseconds.
    void recorded(std::uint64_t first, std::uint64_t last)
    {
        result().setInfo("ticks", "recorded");
        result().setInfo("first_time", std::to_string(first));
        result().setInfo("last_time", std::to_string(last));
    }
    Timeline read(std::size_t bins, const TickRange& range = {})
    {
        TimelineOptions options;
        options.bins = bins;
        options.range = range;
        return readTimeline(result(), options);
    }
    std::string problem(const TimelineOptions& options)
    {
        try {
            readTimeline(result(), options);
        } catch (const ReportError& error) {
            return error.what();
        }
        return "no error";
    }

    const Index cycles = addEvent("cycles");
    const Index place = addPlace("/bin/app", 1);
    const Index light = addThread(10, 11, "light");
    const Index heavy = addThread(10, 12, "heavy");
};

TEST_F(TimelineTest, CountsAreSpreadOverTheirIntervalsAndThreadsSortedByThem)
{
    recorded(100, 199);
    interval(light, 100, 109, 10);
    interval(heavy, 100, 199, 200);
    interval(light, 140, 159, 40);
    const Timeline timeline = read(2);
    EXPECT_EQ(timeline.event, "cycles");
    ASSERT_EQ(timeline.threads.size(), 2U);
    EXPECT_EQ(toText(timeline.threads[0].name.name), "heavy");
    EXPECT_EQ(timeline.threads[0].counts, (Bins{100, 100}));
    EXPECT_EQ(timeline.threads[1].counts, (Bins{30, 20}));
    EXPECT_EQ(timeline.count, 250.0L);
}

TEST_F(TimelineTest, AGuessedStartBeforeTheRecordingIsItsBeginning)
{
    recorded(100, 199);
    interval(light, 50, 109, 10);
    interval(light, 110, 199, 9);
    const Timeline timeline = read(10);
    EXPECT_EQ(timeline.threads[0].counts.front(), 10.0L);
    EXPECT_NEAR(static_cast<double>(timeline.threads[0].count), 19.0, 1e-12) << "nothing is lost";
}

TEST_F(TimelineTest, IntervalsThatReachIntoTheRangeCountInPart)
{
    recorded(0, 399);
    interval(light, 1, 100, 100);
    interval(light, 101, 300, 400);
    interval(light, 301, 399, 99);
    const Timeline timeline = read(1, {91, 150});
    EXPECT_NEAR(static_cast<double>(timeline.threads[0].count), 10 + 100, 1e-9);
    EXPECT_EQ(timeline.bins.first(), 91U);
    EXPECT_EQ(timeline.bins.last(), 150U);
}

TEST_F(TimelineTest, AnOpenEndOfTheRangeIsThatOfTheRecording)
{
    recorded(100, 900);
    interval(light, 100, 500, 401);
    EXPECT_EQ(read(1, {200, {}}).bins.last(), 900U);
    EXPECT_EQ(read(1, {{}, 200}).bins.first(), 100U);
    EXPECT_TRUE(read(3, {5000, {}}).threads.empty()) << "behind the recording";
}

TEST_F(TimelineTest, WithoutTimesTheRangeIsThatOfTheSamples)
{
    result().setInfo("ticks", "numbered");
    interval(light, 3, 3, 5);
    interval(light, 4, 7, 5);
    const Timeline timeline = read(5);
    EXPECT_EQ(timeline.bins.first(), 3U);
    EXPECT_EQ(timeline.bins.last(), 7U);
    EXPECT_EQ(timeline.threads[0].counts.front(), 5.0L);
}

TEST_F(TimelineTest, TheFirstEventWithSamplesIsShownUnlessAnotherIsAskedFor)
{
    const Index unused = addEvent("unused");
    const Index faults = addEvent("faults");
    const Index again = addEvent("faults");
    recorded(1, 100);
    interval(light, 1, 10, 3, again);
    interval(light, 1, 10, 2, faults);
    EXPECT_EQ(read(1).event, "faults");
    EXPECT_EQ(read(1).count, 5.0L) << "events of one name count as one";
    interval(light, 11, 20, 7);
    EXPECT_EQ(read(1).event, "cycles");
    TimelineOptions options;
    options.event = "faults";
    EXPECT_EQ(readTimeline(result(), options).count, 5.0L);
    options.event = "unused";
    EXPECT_NE(problem(options).find("no samples of an event 'unused'"), std::string::npos);
    ASSERT_TRUE(unused.exist());
}

TEST_F(TimelineTest, AThreadIsAskedForByItsIdOrName)
{
    recorded(1, 100);
    interval(light, 1, 10, 3);
    interval(heavy, 1, 10, 30);
    for (const char* const wanted : {"11", "light"}) {
        TimelineOptions options;
        options.thread = wanted;
        const Timeline timeline = readTimeline(result(), options);
        ASSERT_EQ(timeline.threads.size(), 1U);
        EXPECT_EQ(timeline.threads[0].count, 3.0L);
        EXPECT_EQ(timeline.count, 33.0L) << "of all threads";
    }
    TimelineOptions options;
    options.thread = "lig";
    EXPECT_NE(problem(options).find("no thread has the id or name 'lig'"), std::string::npos);
}

TEST_F(TimelineTest, WhatTheLimitHidesIsAddedUp)
{
    recorded(1, 100);
    interval(light, 1, 10, 3);
    interval(heavy, 1, 10, 30);
    TimelineOptions options;
    options.limit = 1;
    Timeline timeline = readTimeline(result(), options);
    EXPECT_EQ(timeline.threads.size(), 1U);
    EXPECT_EQ(timeline.hiddenThreads, 1U);
    EXPECT_EQ(timeline.hiddenCount, 3.0L);
    options.limit = 0;
    EXPECT_EQ(readTimeline(result(), options).threads.size(), 2U);
}

TEST_F(TimelineTest, BandsStandByNameBesideTheThreadsEvenWithoutSamples)
{
    recorded(0, 99);
    interval(heavy, 1, 99, 99);
    band(light, 10, 19, "Class_1");
    band(light, 20, 54, "Class_0");
    band(light, 55, 59, "Class_1");
    band(light, 95, 120, "Class_1");
    const Timeline timeline = read(2);
    ASSERT_EQ(timeline.threads.size(), 2U);
    EXPECT_TRUE(timeline.threads[0].classes.empty());
    const ThreadTimeline& idle = timeline.threads[1];
    EXPECT_EQ(idle.count, 0.0L);
    ASSERT_EQ(idle.classes.size(), 2U);
    const auto expectNear = [&](const char* name, double first, double second) {
        const auto& ticks = idle.classes.find(name)->second;
        EXPECT_NEAR(static_cast<double>(ticks[0]), first, 1e-9) << name;
        EXPECT_NEAR(static_cast<double>(ticks[1]), second, 1e-9) << name;
    };
    expectNear("Class_0", 30, 5);
    expectNear("Class_1", 10, 5 + 5);
    EXPECT_EQ(read(2, {60, 90}).threads.size(), 1U) << "no band lies there";
}

TEST_F(TimelineTest, BinsOfAllThreadsAndClassesHaveABound)
{
    recorded(0, 99);
    interval(light, 1, 10, 3);
    interval(heavy, 1, 10, 30);
    const std::string tooMany = result().databasePath() + ": too many threads for that many bins: "
                                                          "give fewer --bins or a --limit";
    TimelineOptions options;
    options.bins = 5'000'001;
    EXPECT_EQ(problem(options), tooMany);
    options.limit = 1;
    EXPECT_EQ(problem(options), "no error") << "what is hidden takes no bins";
    band(heavy, 10, 19, "Class_1");
    EXPECT_EQ(problem(options), tooMany) << "a class has bins as well";
    options.bins = 5'000'000;
    EXPECT_EQ(problem(options), "no error");
}

TEST_F(TimelineTest, AResultWithoutSamplesOrWithSumsSaysSo)
{
    EXPECT_NE(problem({}).find("has no samples"), std::string::npos);
    interval(light, 1, 10, 3);
    result().setInfo("store_each_sample", "off");
    EXPECT_NE(problem({}).find("--store-each-sample on"), std::string::npos);
}

TEST_F(TimelineTest, TicksOfTheUpperHalfAndOddRowsAreNoHarm)
{
    constexpr std::uint64_t upper = std::uint64_t{1} << 63;
    interval(light, 10, 5, 3);
    interval(light, upper, upper + 9, -4);
    add({cycles, place, Index(77), Index(), 6, {}, 20});
    const Timeline timeline = read(4);
    EXPECT_EQ(timeline.bins.first(), 5U);
    EXPECT_EQ(timeline.bins.last(), upper + 9);
    EXPECT_EQ(timeline.count, 5.0L);
    EXPECT_EQ(timeline.threads[0].thread, 77);
    EXPECT_EQ(timeline.threads[1].counts[3], -4.0L);
}

} // namespace
} // namespace samplefold::report
