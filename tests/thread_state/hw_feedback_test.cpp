#include "thread_state/hw_feedback_fixture.h"

#include "support/log_capture.h"
#include "support/temporary_folder.h"

#include <rowvault1/result.h>

#include <span>

namespace samplefold_test {
namespace {

TEST_F(HwFeedbackTest, OneReportPerCpuGivesRowsAtTheEndAndNoBand)
{
    report(0, 5, 100, 1);
    report(1, 6, 100, 2);
    EXPECT_EQ(lines_t{}, log->take()) << "nothing is written before";
    context.finalizeHwFeedbackData();
    EXPECT_EQ((lines_t{"Class_1", "Class_2"}), classRows());
    EXPECT_EQ(2u, db->table("dd_hw_feedback").rows.size());
    EXPECT_EQ(lines_t{}, bandTexts());
}

TEST_F(HwFeedbackTest, ABandIsWrittenWithTheReportOfAnotherClassAndTheNextStartsBehindIt)
{
    report(0, 5, 100, 1);
    report(0, 5, 200, 1);
    EXPECT_EQ(lines_t{}, bandTexts());
    report(0, 5, 300, 2);
    EXPECT_EQ((lines_t{"5 100-200 Class_1"}), bandTexts());
    EXPECT_EQ(201u, context.m_cpuHwFeedbackState.at(0).startTsc);
    context.finalizeHwFeedbackData();
    EXPECT_EQ((lines_t{"5 100-200 Class_1", "5 201-300 Class_2"}), bandTexts());
}

TEST_F(HwFeedbackTest, AReportWithoutTheValidBitIsOfTheInvalidClassAndGoesThroughTheSameSteps)
{
    context.loadHwFeedbackData(3, 100, 5, 0, 0);
    context.loadHwFeedbackData(4, 200, 5, 0, 0);
    report(0, 5, 300, 3);
    context.loadHwFeedbackData(3, 400, 5, 0, 0);
    context.finalizeHwFeedbackData();
    EXPECT_EQ((lines_t{"5 100-200 Invalid", "5 201-300 Class_3", "5 301-400 Invalid"}),
              bandTexts());
}

TEST_F(HwFeedbackTest, TheClassIsTheLowEightBitsAndItsNumberIsDecimal)
{
    report(0, 5, 100, 3);
    context.loadHwFeedbackData(g_validClass | 0x7FFFFFFFFFFFFF00 | 200, 100, 5, 1, 0);
    report(2, 6, 100, 0);
    report(3, 7, 100, 255);
    context.finalizeHwFeedbackData();
    EXPECT_EQ((lines_t{"Class_3", "Class_200", "Class_0", "Invalid"}), classRows());
}

TEST_F(HwFeedbackTest, AReportAtTheLastTickOfTheBandIsTaken)
{
    report(0, 5, 100, 1);
    report(0, 5, 200, 1);
    report(0, 6, 200, 2);
    EXPECT_EQ((lines_t{"5 100-200 Class_1"}), bandTexts());
    EXPECT_EQ(6, context.m_cpuHwFeedbackState.at(0).threadBandKey);
    context.finalizeHwFeedbackData();
    EXPECT_EQ(1u, bands->calls.size()) << "from 201 to 200 is no band";
}

TEST_F(HwFeedbackTest, AnEarlierReportOfACpuChangesNothing)
{
    report(0, 5, 100, 1);
    report(0, 5, 200, 1);
    report(0, 6, 199, 2, 9);
    const auto& state = context.m_cpuHwFeedbackState.at(0);
    EXPECT_EQ(5, state.threadBandKey);
    EXPECT_EQ(1, state.classId);
    EXPECT_EQ(100u, state.startTsc);
    EXPECT_EQ(200u, state.endTsc);
    EXPECT_FALSE(context.m_threadLastCpu.contains(6));
    EXPECT_EQ(lines_t{}, classRows());
    report(1, 6, 50, 2);
    EXPECT_EQ(50u, context.m_cpuHwFeedbackState.at(1).startTsc)
        << "other CPUs have ticks of their own";
}

TEST_F(HwFeedbackTest, TheValueIsThatOfTheFirstReportOfTheCpuForEver)
{
    report(0, 5, 100, 1, -7);
    report(0, 5, 200, 2, 8);
    report(0, 6, 300, 1, 9);
    context.finalizeHwFeedbackData();
    const auto& rows = db->table("dd_hw_feedback").rows;
    ASSERT_EQ(3u, rows.size());
    for (const auto& [key, row] : rows)
        EXPECT_EQ("s32:-7", show(row.at(1)));
}

TEST_F(HwFeedbackTest, AnotherThreadOnTheCpuEndsTheBandAlsoInTheSameClass)
{
    report(0, 5, 100, 1);
    report(0, 5, 200, 1);
    report(0, 6, 300, 1);
    context.finalizeHwFeedbackData();
    EXPECT_EQ((lines_t{"5 100-200 Class_1", "6 201-300 Class_1"}), bandTexts());
}

TEST_F(HwFeedbackTest, AThreadThatMovesToACpuStartsBehindItsBandOnTheLastOne)
{
    report(1, 6, 50, 1);
    report(0, 5, 100, 1);
    report(0, 5, 200, 1);
    report(1, 5, 300, 1);
    EXPECT_EQ(201u, context.m_cpuHwFeedbackState.at(1).startTsc);
    context.finalizeHwFeedbackData();
    EXPECT_EQ((lines_t{"5 100-200 Class_1", "5 201-300 Class_1"}), bandTexts());
}

TEST_F(HwFeedbackTest, AThreadThatMovesToACpuStartsBehindTheBandThatWasThere)
{
    report(0, 5, 100, 1);
    report(1, 6, 250, 1);
    report(1, 5, 300, 1);
    EXPECT_EQ(251u, context.m_cpuHwFeedbackState.at(1).startTsc);
}

TEST_F(HwFeedbackTest, AThreadThatIsMetForTheFirstTimeStartsBehindTheBandThatWasThere)
{
    report(0, 5, 100, 1);
    report(0, 6, 300, 1);
    EXPECT_EQ(101u, context.m_cpuHwFeedbackState.at(0).startTsc);
}

TEST_F(HwFeedbackTest, AThreadThatWentAwayAndCameBackStartsBehindWhatTheOtherCpuHasTold)
{
    report(0, 5, 100, 1);
    report(0, 5, 200, 1);
    report(1, 5, 250, 1);
    report(1, 6, 280, 1);
    report(0, 5, 300, 1);
    EXPECT_EQ((lines_t{"5 100-200 Class_1"}), bandTexts()) << "it ends although the class is equal";
    EXPECT_EQ(281u, context.m_cpuHwFeedbackState.at(0).startTsc);
    EXPECT_EQ(0u, context.m_threadLastCpu.at(5));
}

TEST_F(HwFeedbackTest, ABandWhoseStartLiesBehindItsEndAddsItsRowsAndIsNotWritten)
{
    report(1, 6, 500, 1);
    report(0, 5, 100, 2);
    report(1, 5, 600, 3);
    report(0, 5, 150, 4);
    EXPECT_EQ(601u, context.m_cpuHwFeedbackState.at(0).startTsc);
    EXPECT_EQ(150u, context.m_cpuHwFeedbackState.at(0).endTsc);
    log->take();
    context.finalizeHwFeedbackData();
    EXPECT_EQ((lines_t{"Class_1", "Class_2", "Class_4", "Class_3"}), classRows());
    EXPECT_EQ((lines_t{"5 501-600 Class_3"}), bandTexts());
}

TEST_F(HwFeedbackTest, RowsAreWrittenBeforeTheTableIsMadeWhichIsBoundOnce)
{
    report(0, 5, 100, 1, 4);
    report(0, 5, 200, 1);
    report(0, 5, 300, 2);
    const lines_t attribute{"dd_hw_feedback_coretier_class.createOrphanRecord",
                            "dd_hw_feedback_coretier_class[0]=text:Class_1",
                            "dd_hw_feedback_coretier_class.commit(0,0)->1",
                            "dd_hw_feedback.createOrphanRecord",
                            "dd_hw_feedback[0]=s32:1",
                            "dd_hw_feedback[1]=s32:4",
                            "dd_hw_feedback.commit(0,0)->1"};
    lines_t expected = attribute;
    expected.insert(expected.end(),
                    {"db.createBandTable hw_feedback_data dd_hw_feedback ''",
                     "result.getInstanceTableDef hw_feedback_data 3",
                     "result.bindInstanceTable hw_feedback_data dd_thread 0 dd_thread '' ''"});
    EXPECT_EQ(expected, log->take());
    ASSERT_EQ(1u, bands->calls.size());
    const auto& [key, band, withCustom] = bands->calls[0];
    EXPECT_EQ("dd_hw_feedback", key.attributeTable);
    EXPECT_EQ(1u, band.count);
    EXPECT_EQ(Index(1), band.attribute);
    EXPECT_FALSE(withCustom);
    context.finalizeHwFeedbackData();
    EXPECT_EQ(2u, bands->calls.size());
    EXPECT_EQ(lines_t{}, log->startingWith("db.createBandTable"));
}

TEST_F(HwFeedbackTest, EachBandHasRowsOfItsOwnAlsoForOneClass)
{
    report(0, 5, 100, 1);
    report(0, 6, 200, 1);
    context.finalizeHwFeedbackData();
    EXPECT_EQ((lines_t{"Class_1", "Class_1"}), classRows());
}

TEST_F(HwFeedbackTest, StatesEndByRisingCpuAndStaySoThatASecondEndWritesThemAgain)
{
    for (const std::uint64_t cpu : {7, 0, 3}) {
        report(cpu, static_cast<std::int32_t>(cpu), 100, 1);
        report(cpu, static_cast<std::int32_t>(cpu), 200, 1);
    }
    context.finalizeHwFeedbackData();
    const lines_t once{"0 100-200 Class_1", "3 100-200 Class_1", "7 100-200 Class_1"};
    EXPECT_EQ(once, bandTexts());
    EXPECT_EQ(3u, context.m_cpuHwFeedbackState.size());
    context.finalizeHwFeedbackData();
    EXPECT_EQ(6u, bands->calls.size());
}

TEST_F(HwFeedbackTest, ARefusedBandFires)
{
    report(0, 5, 100, 1);
    report(0, 5, 200, 1);
    bands->refuses = true;
    context.finalizeHwFeedbackData();
    EXPECT_EQ(lines_t{"result"}, assertions.take());
}

TEST_F(HwFeedbackTest, WithoutTheTablesEveryUseOfTheirRecordsFires)
{
    context.m_ddHwFeedbackTable.reset();
    EXPECT_FALSE(context.createHwFeedbackAttr(1, 2).exist());
    const lines_t fired = assertions.take();
    ASSERT_FALSE(fired.empty());
    for (const std::string& expression : fired)
        EXPECT_EQ("m_pRecord", expression);
    EXPECT_EQ(lines_t{"Class_1"}, classRows());
}

TEST_F(HwFeedbackTest, AClassRowThatTheStoreRefusesLeavesTheFeedbackWithoutClass)
{
    db->table("dd_hw_feedback_coretier_class").refusedCommits = {1};
    const Index key = context.createHwFeedbackAttr(1, 2);
    EXPECT_EQ("s32:-1", show(db->table("dd_hw_feedback").at(key.value(), 0)));
}

TEST_F(HwFeedbackTest, ReportsBandsAndSkipsAreLoggedAtDebugLevelWithTheClassAsACharacter)
{
    const LogCapture logged(log4cplus::DEBUG_LOG_LEVEL);
    report(2, 5, 100, 'A');
    report(2, 5, 200, 'A');
    report(2, 5, 150, 0);
    context.finalizeHwFeedbackData();
    lines_t texts;
    for (const LogCapture::entry_t& entry : logged.entries()) {
        EXPECT_EQ(10000, entry.level);
        texts.push_back(entry.text);
    }
    using namespace std::string_literals;
    EXPECT_EQ(
        (lines_t{"CFBI data handler: cpuIndex = 2   classId = A   tsc = 100   threadBandKey = 5",
                 "CFBI data handler: cpuIndex = 2   classId = A   tsc = 200   threadBandKey = 5",
                 "CFBI data handler: cpuIndex = 2   classId = \0   tsc = 150   threadBandKey = 5"s,
                 "Invalid timestamp for CFBI data: tsc = 150   prevTsc = 200. Skip the data "
                 "instance...",
                 "CFBI instance: [100, 200   classId = A   hwFeedbackKey = 1   threadBandKey = 5"}),
        texts);
}

TEST_F(HwFeedbackTest, NothingIsLoggedAboveDebugLevel)
{
    const LogCapture logged(log4cplus::INFO_LOG_LEVEL);
    report(2, 5, 200, 1);
    report(2, 5, 150, 1);
    report(2, 5, 300, 1);
    context.finalizeHwFeedbackData();
    EXPECT_TRUE(logged.entries().empty());
}

/// The same through the store that results are kept in.
TEST(HwFeedbackStore, BandsLieOnTheirThreadsAndTheDataIsBoundToThem)
{
    struct Reader final : rowvault1::ISqlReader {
        void onColumns(std::span<const std::string>) override {}
        bool onRow(std::span<const tb2::variant_t> row) override
        {
            for (const tb2::variant_t& value : row)
                text += show(value) + " ";
            text += "\n";
            return true;
        }
        std::string text;
    } reader;
    const TemporaryFolder folder;
    const auto result = rowvault1::openResult(folder.path("r"), rowvault1::open_mode_t::create);
    TestContext context;
    context.setDb(result->database());
    context.setResult(result->perfDatabase());
    for (const std::uint64_t tick : {100, 200, 300})
        context.loadHwFeedbackData(g_validClass | (tick / 300), tick, 4, 0, 17);
    context.finalizeHwFeedbackData();
    rowvault1::readSql(*result,
                       "SELECT b.owner, b.attribute_table, b.start_tsc, b.end_tsc, b.count, "
                       "f.value, c.name FROM hw_feedback_data b JOIN dd_hw_feedback f ON f.id = "
                       "b.attribute JOIN dd_hw_feedback_coretier_class c ON c.id = f.class "
                       "UNION ALL SELECT 0, data_name, 0, 0, 0, 0, owner_table FROM band_binding "
                       "WHERE data_name = 'hw_feedback_data'",
                       reader);
    EXPECT_EQ("s64:4 text:dd_hw_feedback s64:100 s64:200 s64:1 s64:17 text:Class_0 \n"
              "s64:4 text:dd_hw_feedback s64:201 s64:300 s64:1 s64:17 text:Class_1 \n"
              "s64:0 text:hw_feedback_data s64:0 s64:0 s64:0 s64:0 text:dd_thread \n",
              reader.text);
}

} // namespace
} // namespace samplefold_test
