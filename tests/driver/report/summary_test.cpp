#include "made_result.h"

#include "report/summary.h"

#include <sstream>

namespace samplefold::report {
namespace {

using testing::number;
using testing::text;

class SummaryTest : public testing::MadeResultTest {
protected:
    std::string summary(const TickRange& range = {})
    {
        std::ostringstream out;
        writeSummary(result(), out, range);
        return out.str();
    }
    void addQuality(std::string_view reason, std::uint64_t count, std::string_view severity)
    {
        add("dd_quality", {{"reason", text(reason)},
                           {"count", tb2::variant_t(count)},
                           {"remedy", text("mend it")},
                           {"severity", text(severity)}});
    }
    /// Whether the summary has this very line.
    bool hasLine(const std::string& line, const TickRange& range = {})
    {
        return ("\n" + summary(range)).find("\n" + line + "\n") != std::string::npos;
    }
};

TEST_F(SummaryTest, ANewResultSaysThatItIsIncomplete)
{
    EXPECT_TRUE(hasLine("state       incomplete")) << summary();
    EXPECT_TRUE(hasLine("  nothing was lost, dropped or guessed")) << summary();
}

TEST_F(SummaryTest, WhatIsNotKnownHasNoLine)
{
    EXPECT_EQ(summary().find("host"), std::string::npos);
    EXPECT_EQ(summary().find("damage"), std::string::npos);
    result().setInfo("hostname", "box");
    result().setInfo("input_fault", "byte 7: broken");
    EXPECT_TRUE(hasLine("host        box")) << summary();
    EXPECT_TRUE(hasLine("damage      byte 7: broken")) << summary();
}

TEST_F(SummaryTest, TimesAreSecondsWithNanoseconds)
{
    result().setInfo("ticks", "recorded");
    result().setInfo("first_time", "5");
    result().setInfo("last_time", "12345678901234567890");
    EXPECT_TRUE(hasLine("time        0.000000005 s to 12345678901.234567890 s")) << summary();
}

TEST_F(SummaryTest, TextsOutOfAProfileCannotMoveTheCursor)
{
    result().setInfo("command_line", "perf record \x1b[2J\n-a");
    EXPECT_TRUE(hasLine("command     perf record \\x1b[2J\\x0a-a")) << summary();
}

TEST_F(SummaryTest, QualityIsWorstFirstAndAddedUpOverLoads)
{
    addQuality("guessed", 500, "info");
    addQuality("lost", 2, "data_loss");
    addQuality("failed", 9, "error");
    addQuality("lost", 3, "data_loss");
    const std::string out = summary();
    EXPECT_NE(out.find("Quality\n"
                       "  count  severity   what     remedy\n"
                       "      5  data_loss  lost     mend it\n"
                       "      9  error      failed   mend it\n"
                       "    500  info       guessed  mend it\n"),
              std::string::npos)
        << out;
}

TEST_F(SummaryTest, BranchRecordsAreCountedBehindQualityInTheOrderOfTheLoad)
{
    EXPECT_EQ(summary().find("Branch records"), std::string::npos);
    EXPECT_FALSE(summaryToJson(result()).contains("branch_records"));
    const auto module = add("dd_module_file", {{"name", text("app")}, {"path", text("/bin/app")}});
    for (const std::uint64_t total : {20, 10}) {
        add("dd_branch_quality", {{"what", text("samples with branch records")},
                                  {"count", tb2::variant_t(std::uint64_t{2})},
                                  {"total", tb2::variant_t(total)},
                                  {"most", tb2::variant_t(total - 5)}});
    }
    add("dd_branch_quality", {{"what", text("record cut: why")},
                              {"count", tb2::variant_t(std::uint64_t{3})},
                              {"address", tb2::variant_t(std::uint64_t{0x1234})},
                              {"module", rowvault1::utils::indexToVariant(module)}});
    const std::string out = summary();
    EXPECT_NE(out.find("  nothing was lost, dropped or guessed\n"
                       "\n"
                       "Branch records\n"
                       "  count  what                         mean  most  example  module\n"
                       "      4  samples with branch records   7.5    15\n"
                       "      3  record cut: why                          0x1234   app\n"),
              std::string::npos)
        << out;
    const auto json = summaryToJson(result())["branch_records"];
    ASSERT_EQ(json.size(), 2U);
    EXPECT_EQ(json[0]["count"], 4);
    EXPECT_EQ(json[0]["mean"], 7.5);
    EXPECT_TRUE(json[0]["example"].is_null());
    EXPECT_EQ(json[1]["what"], "record cut: why");
    EXPECT_EQ(json[1]["module"], "app");
}

TEST_F(SummaryTest, ARangeIsToldWithTheRowsInIt)
{
    for (const std::uint64_t tick : {99, 100, 150, 200, 201})
        add({{}, {}, {}, {}, 1, {}, tick});
    EXPECT_EQ(summary().find("range"), std::string::npos);
    result().setInfo("ticks", "numbered");
    EXPECT_TRUE(hasLine("range       tick 100 to tick 200: 3 sample rows", {100, 200}));
    EXPECT_TRUE(hasLine("range       tick 100 to the last tick: 4 sample rows", {100, {}}));
    result().setInfo("ticks", "recorded");
    EXPECT_TRUE(hasLine("range       the first tick to 0.000000200 s: 4 sample rows", {{}, 200}));
    EXPECT_EQ(summaryToJson(result(), {{}, 200})["range"].dump(),
              R"({"from":null,"to":200,"sample_rows":4})");
    EXPECT_FALSE(summaryToJson(result()).contains("range"));
}

TEST_F(SummaryTest, JsonHasTheSameFacts)
{
    result().setInfo("hostname", "box");
    addQuality("lost", 2, "data_loss");
    const auto json = summaryToJson(result());
    EXPECT_EQ(json["summary"]["hostname"], "box");
    EXPECT_EQ(json["summary"]["state"], "incomplete");
    ASSERT_EQ(json["quality"].size(), 1U);
    EXPECT_EQ(json["quality"][0]["count"], 2);
    EXPECT_EQ(json["quality"][0]["reason"], "lost");
}

} // namespace
} // namespace samplefold::report
