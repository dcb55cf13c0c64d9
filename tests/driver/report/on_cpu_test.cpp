#include "made_result.h"

#include "report/on_cpu.h"
#include "report/report_error.h"

#include <rowvault1/bucket_table.h>

#include <limits>
#include <sstream>

namespace samplefold::report {
namespace {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;

constexpr rowvault1::field_info_t g_fields[] = {
    {0, "thread", rowvault1::fieldTypeS32, 1, ""},
    {1, "start_tsc", rowvault1::fieldTypeU64, 1, ""},
    {2, "end_tsc", rowvault1::fieldTypeU64, 1, ""},
};

constexpr std::uint64_t g_second = 1000000000;

class OnCpuTest : public testing::MadeResultTest {
protected:
    void span(Index thread, std::uint64_t start, std::uint64_t end, std::int32_t cpu = 0)
    {
        const auto table =
            rowvault1::openBucketTable(*result().database(), "cpu_running_data_t", g_fields);
        ASSERT_TRUE(table);
        const tb2::variant_t values[] = {indexToVariant(thread), tb2::variant_t(start),
                                         tb2::variant_t(end)};
        ASSERT_TRUE(table->insert(cpu, values, {}));
        result().drain();
    }
    std::string threads(const OnCpuOptions& options = {})
    {
        std::ostringstream out;
        writeOnCpu(result(), options, out);
        const std::string all = out.str();
        return all.substr(all.find("Time on CPU"));
    }

    const Index busy = addThread(10, 11, "busy");
    const Index lazy = addThread(10, 12, "lazy");
};

TEST_F(OnCpuTest, ThreadsAreSortedByTheirTime)
{
    span(lazy, 2 * g_second, 3 * g_second);
    span(busy, 0, 2 * g_second, 1);
    span(busy, 3 * g_second, 4 * g_second, 0);
    EXPECT_EQ(threads(), "Time on CPU in 4.000000000 s by thread\n"
                         "  pid  tid  thread      seconds   share  spans    mean span\n"
                         "   10   11  busy    3.000000000  75.00%      2  1.500000000\n"
                         "   10   12  lazy    1.000000000  25.00%      1  1.000000000\n");
}

TEST_F(OnCpuTest, TheShareIsOfTheRecording)
{
    result().setInfo("first_time", "1000000000");
    result().setInfo("last_time", "11000000000");
    span(busy, 2 * g_second, 3 * g_second);
    const auto json = onCpuToJson(result(), {});
    EXPECT_EQ(json["report"], "on-cpu");
    EXPECT_EQ(json["seconds"], 10.0);
    EXPECT_EQ(json["threads"].dump(), R"([{"pid":10,"tid":11,"thread":"busy","seconds":1.0,)"
                                      R"("percent":10.0,"spans":1,"mean_seconds":1.0}])");
}

TEST_F(OnCpuTest, SpansAreClippedToTheRange)
{
    span(busy, 0, 4 * g_second);
    span(busy, 6 * g_second, 8 * g_second);
    span(lazy, 20 * g_second, 21 * g_second);
    const auto json = onCpuToJson(result(), {10, {3 * g_second, 7 * g_second}});
    EXPECT_EQ(json["range"]["from"], 3 * g_second);
    EXPECT_EQ(json["seconds"], 4.0);
    EXPECT_EQ(json["threads"].dump(), R"([{"pid":10,"tid":11,"thread":"busy","seconds":2.0,)"
                                      R"("percent":50.0,"spans":2,"mean_seconds":1.0}])");
}

TEST_F(OnCpuTest, ARangeWithOneEndReachesToTheOtherEndOfTheRecording)
{
    result().setInfo("first_time", "0");
    result().setInfo("last_time", "8000000000");
    span(busy, 0, 4 * g_second);
    EXPECT_EQ(onCpuToJson(result(), {10, {2 * g_second, {}}})["seconds"], 6.0);
    EXPECT_EQ(onCpuToJson(result(), {10, {{}, 2 * g_second}})["threads"][0]["percent"], 100.0);
}

TEST_F(OnCpuTest, WhatTheLimitHidesIsTold)
{
    const Index third = addThread(20, 20, "third");
    span(busy, 0, 3 * g_second);
    span(lazy, 0, 2 * g_second);
    span(third, 0, 1 * g_second);
    const std::string text = threads({1, {}});
    EXPECT_NE(text.find("  not shown: 2 threads with 3.000000000 s (--limit)\n"), std::string::npos)
        << text;
    EXPECT_EQ(text.find("lazy"), std::string::npos);
    const auto json = onCpuToJson(result(), {1, {}});
    EXPECT_EQ(json["threads"].size(), 1U);
    EXPECT_EQ(json["not_shown"].dump(), R"({"threads":2,"seconds":3.0})");
    EXPECT_EQ(onCpuToJson(result(), {0, {}})["threads"].size(), 3U);
}

TEST_F(OnCpuTest, AResultWithoutSwitchesSaysWhatToRecord)
{
    for (const bool asJson : {false, true}) {
        try {
            asJson ? static_cast<void>(onCpuToJson(result(), {})) : static_cast<void>(threads());
            FAIL() << "no error";
        } catch (const ReportError& error) {
            EXPECT_NE(std::string(error.what()).find("--switch-events"), std::string::npos);
        }
    }
}

TEST_F(OnCpuTest, ARangeWithoutSpansHasNoThreads)
{
    span(busy, 0, 10);
    EXPECT_EQ(onCpuToJson(result(), {10, {11, 20}})["threads"].dump(), "[]");
}

TEST_F(OnCpuTest, DamagedRowsAreNoTime)
{
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    span(Index(77), 50, 10);
    span(busy, 0, most);
    const auto threadsJson = onCpuToJson(result(), {})["threads"];
    ASSERT_EQ(threadsJson.size(), 2U);
    EXPECT_EQ(threadsJson[0]["thread"], "busy");
    EXPECT_DOUBLE_EQ(threadsJson[0]["seconds"].get<double>(), 18446744073.709551615);
    EXPECT_TRUE(threadsJson[1]["tid"].is_null());
    EXPECT_EQ(threadsJson[1]["seconds"], 0.0);
}

TEST_F(OnCpuTest, NamesCannotMoveTheCursor)
{
    span(addThread(1, 2, "x\x1b[2J\ny"), 0, 10);
    EXPECT_NE(threads().find("x\\x1b[2J\\x0ay"), std::string::npos) << threads();
}

} // namespace
} // namespace samplefold::report
