#include "load/hw_feedback_loader.h"

#include "driver/session/scratch_result.h"
#include "driver/session/side_band_records.h"
#include "session/side_band_collector.h"

#include <gtest/gtest.h>

namespace samplefold::load {
namespace {

using Rows = std::vector<std::string>;

class HwFeedbackLoaderTest : public session::testing::ScratchResultTest,
                             protected session::testing::SideBandRecords {
protected:
    /// The recording ends at tick 1000.
    void load(std::string_view text)
    {
        sample(1000);
        const Bytes bytes = file().event(event()).file();
        const auto recording = perfdata::Recording::fromBytes(bytes.span(), "test");
        EXPECT_FALSE(recording.fault());
        session::ProcessTable processes;
        session::ModuleCatalog modules;
        session::SideBandCollector(recording, processes, modules, quality).collect({});
        session::ProcessRows rows(db());
        rows.store(processes);
        ProfileContext context(result(), {false, true, 1});
        HwFeedbackLoader loader(recording, processes, rows, context);
        loader.load(parseHwFeedback(text));
        loader.reportQuality(quality);
        result().drain();
    }
    /// Bands "thread from-to class" in the order of their ticks.
    Rows bands()
    {
        return ask(
            "SELECT ifnull(p.pid || '/' || t.tid || '/' || ifnull(t.name, ''), 'nobody') || ' ' || "
            "b.start_tsc || '-' || b.end_tsc || ' ' || c.name FROM hw_feedback_data b "
            "JOIN dd_hw_feedback f ON f.id = b.attribute "
            "JOIN dd_hw_feedback_coretier_class c ON c.id = f.class "
            "LEFT JOIN dd_thread t ON t.id = b.owner "
            "LEFT JOIN dd_process p ON p.id = t.process ORDER BY b.start_tsc, b.owner");
    }
    std::uint64_t unknown() const
    {
        return quality.count("threads of hardware feedback that the recording does not know");
    }

    session::QualityLog quality;
};

TEST_F(HwFeedbackLoaderTest, ReportsBecomeBandsOfTheThreadsWithTheirIds)
{
    comm(1, 10, 10, "app");
    comm(1, 10, 11, "helper");
    load("100 0 10 0x8000000000000001 0\n200 0 10 0x8000000000000001 0\n"
         "100 1 11 0x8000000000000000 0\n300 1 11 0x8000000000000000 0\n"
         "400 0 10 0x8000000000000000 0\n");
    EXPECT_EQ(bands(), (Rows{"10/10/app 100-200 Class_1", "10/11/helper 100-300 Class_0",
                             "10/10/app 201-400 Class_0"}));
    EXPECT_EQ(unknown(), 0U);
}

TEST_F(HwFeedbackLoaderTest, ReportsOfAllCpusComeInTheOrderOfTimeWhateverTheOrderOfTheFile)
{
    comm(1, 10, 10, "app");
    load("500 1 10 0x8000000000000001 0\n600 1 10 0x8000000000000001 0\n"
         "100 0 10 0x8000000000000001 0\n200 0 10 0x8000000000000001 0\n"
         "700 0 10 0x8000000000000001 0\n");
    EXPECT_EQ(bands(), (Rows{"10/10/app 100-200 Class_1", "10/10/app 500-600 Class_1",
                             "10/10/app 601-700 Class_1"}));
}

TEST_F(HwFeedbackLoaderTest, AThreadIdMeansTheLifeThatHadItAtTheTick)
{
    comm(1, 10, 10, "first");
    exit(400, 10, 10);
    fork(500, 10, 10, 1);
    comm(501, 10, 10, "second", execBit);
    load("100 0 10 0 0\n300 0 10 0 0\n600 0 10 0 0\n900 0 10 0 0\n");
    EXPECT_EQ(bands(), (Rows{"10/10/first 100-300 Invalid", "10/10/second 301-900 Invalid"}));
}

TEST_F(HwFeedbackLoaderTest, AThreadThatTheRecordingDoesNotKnowStandsAsAProcessAndIsCounted)
{
    comm(1, 10, 10, "app");
    load("100 0 77 0 0\n200 0 77 0 0\n300 0 77 0 0\n100 1 78 0 0\n");
    EXPECT_EQ(bands(), (Rows{"77/77/ 100-300 Invalid"}));
    EXPECT_EQ(unknown(), 2U);
}

TEST_F(HwFeedbackLoaderTest, UnknownThreadsBehindTheBoundHaveNoRowsAndTheirReportsAreCounted)
{
    comm(1, 10, 10, "app");
    std::string text;
    for (int tid = 1001; tid <= 71'000; ++tid)
        text += "100 0 " + std::to_string(tid) + " 0 0\n";
    // What the recording knows, and what is among the first, is known for good.
    load(text + "200 0 10 0 0\n300 0 10 0 0\n400 0 1001 0 0\n500 0 1001 0 0\n"
                "600 0 71000 0 0\n700 0 71000 0 0\n");
    EXPECT_EQ(unknown(), 65'536U);
    EXPECT_EQ(ask("SELECT count(*) FROM dd_thread WHERE tid > 1000"), Rows{"65536"});
    EXPECT_EQ(ask("SELECT max(tid) FROM dd_thread"), Rows{"66536"});
    EXPECT_EQ(
        quality.count(
            "reports of hardware feedback of unknown threads behind the first 65536 of these"),
        70'000U - 65'536U + 2U);
    EXPECT_EQ(bands(), (Rows{"10/10/app 101-300 Invalid", "1001/1001/ 301-500 Invalid",
                             "nobody 501-700 Invalid"}));
}

TEST_F(HwFeedbackLoaderTest, TheIdleTaskEndsTheBandBeforeItAndItsOwnBelongToNobody)
{
    comm(1, 10, 10, "app");
    load("100 0 10 0 0\n200 0 10 0 0\n250 0 0 0 0\n300 0 0 0 0\n400 0 10 0 0\n500 0 10 0 0\n");
    EXPECT_EQ(bands(), (Rows{"10/10/app 100-200 Invalid", "nobody 201-300 Invalid",
                             "10/10/app 301-500 Invalid"}));
    EXPECT_EQ(unknown(), 0U);
}

TEST_F(HwFeedbackLoaderTest, ReportsOutsideOfTheRecordingAreLoadedAndCounted)
{
    comm(50, 10, 10, "app");
    load("49 0 10 0 0\n50 0 10 0 0\n1000 0 10 0 0\n1001 0 10 0 0\n");
    EXPECT_EQ(bands(), (Rows{"10/10/app 49-1001 Invalid"}));
    EXPECT_EQ(quality.count("hardware feedback before or behind the recording"), 2U);
}

TEST_F(HwFeedbackLoaderTest, BadLinesAreCountedAndAFileWithoutReportsWritesNothing)
{
    comm(1, 10, 10, "app");
    load("bad\n1 2\n# 1 2 3 4 5\n");
    EXPECT_EQ(quality.count("lines of the hardware feedback file that are no report"), 2U);
    EXPECT_EQ(ask("SELECT count(*) FROM dd_hw_feedback"), Rows{"0"});
    EXPECT_EQ(bands(), Rows{});
}

} // namespace
} // namespace samplefold::load
