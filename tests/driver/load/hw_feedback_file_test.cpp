#include "load/hw_feedback_file.h"

#include "load/load_error.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <string>

namespace samplefold::load {
namespace {

using Reports = std::vector<HwFeedbackReport>;

/// What is wrong with the only line of a text; empty where it is a report.
std::string problemOf(std::string_view line)
{
    const HwFeedbackFile file = parseHwFeedback(line);
    EXPECT_EQ(file.reports.size() + file.badLines, 1U) << line;
    return file.problem;
}

TEST(HwFeedbackFileTest, ALineIsAReportWithItsFieldsInOrder)
{
    const HwFeedbackFile file = parseHwFeedback("1000 2 34 0x8000000000000003 -5\n");
    EXPECT_EQ(file.reports, (Reports{{1000, 0x8000000000000003, 2, 34, -5}}));
    EXPECT_EQ(file.badLines, 0U);
    EXPECT_EQ(hwFeedbackFault("f", file), "");
}

TEST(HwFeedbackFileTest, CommentsAndLinesWithoutAnythingElseAreNoReports)
{
    const HwFeedbackFile file = parseHwFeedback("# head\n\n \t\n1 2 3 4 5# behind\n#6 7 8 9 1\n");
    EXPECT_EQ(file.reports, (Reports{{1, 4, 2, 3, 5}}));
    EXPECT_EQ(file.badLines, 0U);
}

TEST(HwFeedbackFileTest, BlanksTabsAndCarriageReturnsSeparateAndTheLastLineNeedsNoEnd)
{
    EXPECT_EQ(parseHwFeedback("\t1  2\t3 4 5 \r\n1 2 3 4 5").reports,
              (Reports{{1, 4, 2, 3, 5}, {1, 4, 2, 3, 5}}));
}

TEST(HwFeedbackFileTest, TheClassWordIsDecimalOrHexadecimalBehind0x)
{
    const Reports reports =
        parseHwFeedback("1 0 1 9223372036854775809 0\n1 0 1 0x8000000000000001 0\n"
                        "1 0 1 0XFFFFFFFFFFFFFFFF 0\n")
            .reports;
    ASSERT_EQ(reports.size(), 3U);
    EXPECT_EQ(reports[0], reports[1]);
    EXPECT_EQ(reports[2].classWord, 0xFFFFFFFFFFFFFFFF);
}

TEST(HwFeedbackFileTest, EveryNumberMayBeAsLargeAsItsField)
{
    const HwFeedbackFile file =
        parseHwFeedback("9223372036854775807 2147483647 4194304 18446744073709551615 2147483647\n"
                        "0 0 0 0 -2147483648\n");
    EXPECT_EQ(file.reports, (Reports{{0, 0, 0, 0, -2147483647 - 1},
                                     {9223372036854775807, 18446744073709551615U, 2147483647,
                                      4194304, 2147483647}}));
    EXPECT_NE(problemOf("9223372036854775808 0 0 0 0").find("first field is no tick"),
              std::string::npos);
    EXPECT_NE(problemOf("0 2147483648 0 0 0").find("second field is no CPU"), std::string::npos);
    EXPECT_NE(problemOf("0 0 4194305 0 0").find("third field is no thread id"), std::string::npos);
    EXPECT_NE(problemOf("0 0 0 0x10000000000000000 0").find("fourth field is no class word"),
              std::string::npos);
    EXPECT_NE(problemOf("0 0 0 0 2147483648").find("fifth field is no value"), std::string::npos);
}

TEST(HwFeedbackFileTest, WhatIsNoPlainNumberIsRefused)
{
    for (const char* const line :
         {"-1 0 0 0 0", "+1 0 0 0 0", "1.5 0 0 0 0", "0x1 0 0 0 0", "0 0 0 0x 0", "0 0 0 -1 0",
          "0 0 0 0x-1 0", "0 0 0 a 0", "0 0 0 0 0x1", "0 0 0 0 +1", "1,0,0,0,0",
          "18446744073709551616 0 0 0 0"})
        EXPECT_FALSE(problemOf(line).empty()) << line;
}

TEST(HwFeedbackFileTest, ALineWithFewerOrMoreFieldsTellsHowMany)
{
    EXPECT_EQ(problemOf("1"), "1 field instead of 5: tick, CPU, thread id, class word, value");
    EXPECT_EQ(problemOf("1 2 3 4"),
              "4 fields instead of 5: tick, CPU, thread id, class word, value");
    EXPECT_EQ(problemOf("1 2 3 4 5 6 7").substr(0, 8), "7 fields");
}

TEST(HwFeedbackFileTest, ABadLineLosesNoOtherAndTheFirstOneIsTold)
{
    const HwFeedbackFile file = parseHwFeedback("# head\n5 0 1 2 3\nbad\n6 0 1 2 3\n1 2\n");
    EXPECT_EQ(file.reports.size(), 2U);
    EXPECT_EQ(file.badLines, 2U);
    EXPECT_EQ(hwFeedbackFault("dir/reports", file),
              "dir/reports:3: 1 field instead of 5: tick, CPU, thread id, class word, value (this "
              "line and 1 other were left out): mend the file and load again");
}

TEST(HwFeedbackFileTest, ReportsAreSortedByTickAndKeepTheirOrderWithinOne)
{
    Reports reports = parseHwFeedback("30 0 1 0 0\n10 0 2 0 0\n30 0 3 0 0\n10 0 4 0 0\n").reports;
    std::vector<std::int32_t> threads;
    for (const HwFeedbackReport& report : reports)
        threads.push_back(report.thread);
    EXPECT_EQ(threads, (std::vector<std::int32_t>{2, 4, 1, 3}));
}

TEST(HwFeedbackFileTest, BytesThatAreNoTextAreABadLineAndAreNotRepeated)
{
    const std::string text("\0\xff\x1b[2J 1 2\n1 0 1 0 0\n", 21);
    const HwFeedbackFile file = parseHwFeedback(text);
    EXPECT_EQ(file.reports.size(), 1U);
    for (const char byte : hwFeedbackFault("f", file))
        EXPECT_TRUE(byte >= ' ' && byte <= '~');
}

TEST(HwFeedbackFileTest, AFileIsReadAndOneThatCannotBeIsRefused)
{
    const samplefold_test::TemporaryFolder folder;
    EXPECT_EQ(readHwFeedback(folder.addFile("good", "1 2 3 4 5\n")).reports.size(), 1U);
    EXPECT_TRUE(readHwFeedback(folder.addFile("empty", "")).reports.empty());
    for (const std::string& path :
         {folder.path("missing"), folder.path(), std::string("/dev/zero")}) {
        try {
            readHwFeedback(path);
            FAIL() << path;
        } catch (const LoadError& error) {
            EXPECT_EQ(std::string(error.what()).find(path + ": "), 0U) << error.what();
        }
    }
}

} // namespace
} // namespace samplefold::load
