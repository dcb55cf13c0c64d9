#include "made_bands.h"

#include "report/timeline_report.h"

#include <sstream>

namespace samplefold::report {
namespace {

using rowvault1::Index;

class TimelineReportTest : public testing::MadeBandsTest {
protected:
    TimelineReportTest()
    {
        result().setInfo("ticks", "recorded");
        result().setInfo("first_time", "1000000000");
        result().setInfo("last_time", "1999999999");
    }
    /// In tenths of a second since the first tick, `end` excluded.
    void counted(Index owner, std::uint64_t start, std::uint64_t end, std::int64_t count)
    {
        add({event, place, owner, Index(), count, {}, tickAt(end) - 1, tickAt(start)});
    }
    void classified(Index owner, std::uint64_t start, std::uint64_t end, std::string_view name)
    {
        band(owner, tickAt(start), tickAt(end) - 1, name);
    }
    std::string chart(const TimelineOptions& options, std::size_t width = 80)
    {
        std::ostringstream out;
        writeTimeline(result(), options, width, out);
        return out.str();
    }
    static std::uint64_t tickAt(std::uint64_t tenth) { return 1000000000 + tenth * 100000000; }
    static TimelineOptions tenBins()
    {
        TimelineOptions options;
        options.bins = 10;
        return options;
    }

    const Index event = addEvent("cycles");
    const Index place = addPlace("/bin/app", 1);
    const Index thread = addThread(10, 11, "app");
};

TEST_F(TimelineReportTest, BarsAreAsHighAsTheRateAndClassesStandBelow)
{
    counted(thread, 0, 1, 800);
    counted(thread, 1, 2, 400);
    counted(thread, 2, 4, 200);
    counted(thread, 9, 10, 1);
    classified(thread, 0, 2, "Class_0");
    classified(thread, 2, 3, "Class_11");
    classified(thread, 3, 4, "Invalid");
    EXPECT_EQ(chart(tenBins()), "Event cycles over time by thread\n"
                                "  from 0.000000000 s to 0.999999999 s, 10 bins of 0.100000000 s\n"
                                "  a full bar is 8000 per second\n"
                                "\n"
                                "  pid 10  tid 11  app  count 1401, 100.00% of the event\n"
                                "  |█▄▁▁     ▁|\n"
                                "  |00b-      |  core class\n"
                                "\n"
                                "  core classes: 0 Class_0, b Class_11, - Invalid\n");
}

TEST_F(TimelineReportTest, ABarStandsForSeveralBinsWhereMoreDoNotFit)
{
    counted(thread, 0, 5, 800);
    counted(thread, 5, 10, 100);
    TimelineOptions options;
    options.bins = 1000;
    const std::string narrow = chart(options, 24);
    EXPECT_NE(narrow.find("  |██████████▁▁▁▁▁▁▁▁▁▁|\n"), std::string::npos) << narrow;
    EXPECT_NE(narrow.find("a full bar is 1600 per second"), std::string::npos) << narrow;
    EXPECT_NE(chart(options, 1).find("  |█████▁▁▁▁▁|\n"), std::string::npos) << "never narrower";
}

TEST_F(TimelineReportTest, AllThreadsHaveOneScale)
{
    const Index other = addThread(20, 20, "other");
    counted(thread, 0, 10, 8000);
    counted(other, 0, 10, 4000);
    const std::string text = chart(tenBins());
    EXPECT_NE(text.find("66.67% of the event\n  |██████████|"), std::string::npos) << text;
    EXPECT_NE(text.find("33.33% of the event\n  |▄▄▄▄▄▄▄▄▄▄|"), std::string::npos) << text;
}

TEST_F(TimelineReportTest, TheClassThatHeldLongestStandsForABin)
{
    counted(thread, 0, 10, 1);
    classified(thread, 0, 4, "Class_1");
    classified(thread, 4, 10, "Class_2");
    classified(thread, 10, 12, "Class_3");
    TimelineOptions options;
    options.bins = 1;
    EXPECT_NE(chart(options).find("|2|"), std::string::npos);
}

TEST_F(TimelineReportTest, JsonHasCountsAndRatesOfEachBin)
{
    counted(thread, 0, 5, 1000);
    classified(thread, 5, 10, "Class_4");
    TimelineOptions options;
    options.bins = 2;
    const auto json = timelineToJson(result(), options);
    EXPECT_EQ(json["report"], "timeline");
    EXPECT_EQ(json["event"], "cycles");
    EXPECT_EQ(json["ticks"], "recorded");
    EXPECT_EQ(json["from"].dump(), R"({"tick":1000000000,"seconds":0.0})");
    EXPECT_EQ(json["to"].dump(), R"({"tick":1999999999,"seconds":0.999999999})");
    EXPECT_EQ(json["bin_seconds"], 0.5);
    const auto& shown = json["threads"][0];
    EXPECT_EQ(shown["tid"], 11);
    EXPECT_EQ(shown["counts"].dump(), "[1000.0,0.0]");
    EXPECT_EQ(shown["rates"].dump(), "[2000.0,0.0]");
    EXPECT_EQ(shown["core_classes"].dump(), R"([{"class":"Class_4","ticks":[0.0,500000000.0]}])");
    EXPECT_EQ(json["not_shown"].dump(), R"({"threads":0,"count":0.0})");
}

TEST_F(TimelineReportTest, WithoutTimesTicksAreShownAsTheyAre)
{
    result().setInfo("ticks", "numbered");
    counted(thread, 0, 1, 5);
    EXPECT_NE(chart(tenBins()).find("tick "), std::string::npos);
    EXPECT_NE(chart(tenBins()).find(" per tick\n"), std::string::npos);
    const auto json = timelineToJson(result(), tenBins());
    EXPECT_TRUE(json["from"]["seconds"].is_null());
    EXPECT_TRUE(json["bin_seconds"].is_null());
}

TEST_F(TimelineReportTest, WhatTheLimitHidesAndAnEmptyPartAreTold)
{
    counted(thread, 0, 1, 5);
    counted(addThread(20, 20, "x\x1b[2Jy"), 0, 1, 9);
    TimelineOptions options = tenBins();
    options.limit = 1;
    const std::string text = chart(options);
    EXPECT_NE(text.find("not shown: 1 thread with count 5 (--limit)"), std::string::npos) << text;
    EXPECT_NE(text.find("x\\x1b[2Jy"), std::string::npos) << "names cannot move the cursor";
    options.range = {tickAt(5), tickAt(6)};
    EXPECT_NE(chart(options).find("nothing was counted in this part"), std::string::npos);
}

} // namespace
} // namespace samplefold::report
