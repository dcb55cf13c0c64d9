#include "made_bands.h"

#include "report/core_class.h"
#include "report/report_error.h"

#include <limits>
#include <sstream>

namespace samplefold::report {
namespace {

using rowvault1::Index;

constexpr std::uint64_t g_aSecond = 1000000000;

class CoreClassTest : public testing::MadeBandsTest {
protected:
    std::string table(const CoreClassOptions& options = {})
    {
        std::ostringstream out;
        writeCoreClasses(result(), options, out);
        const std::string all = out.str();
        return all.substr(all.find("Time in core classes"));
    }

    const Index first = addThread(10, 11, "first");
    const Index second = addThread(10, 12, "second");
};

TEST_F(CoreClassTest, TimeIsAddedUpByThreadAndNameOfTheClass)
{
    band(first, 1, g_aSecond, "Class_0");
    band(first, g_aSecond + 1, 2 * g_aSecond, "Class_1");
    band(first, 2 * g_aSecond + 1, 4 * g_aSecond, "Class_1");
    band(second, 1, 6 * g_aSecond, "Invalid");
    EXPECT_EQ(table(), "Time in core classes by thread\n"
                       "  pid  tid  thread  class        seconds    share  bands\n"
                       "   10   12  second  Invalid  6.000000000  100.00%      1\n"
                       "   10   11  first   Class_1  3.000000000   75.00%      2\n"
                       "   10   11  first   Class_0  1.000000000   25.00%      1\n");
    const auto json = coreClassesToJson(result(), {});
    EXPECT_EQ(json["by"], "core-class");
    EXPECT_EQ(json["entries"][1].dump(), R"({"pid":10,"tid":11,"thread":"first","class":"Class_1",)"
                                         R"("seconds":3.0,"percent":75.0,"bands":2})");
}

TEST_F(CoreClassTest, BandsAreClippedToTheRangeBothEndsIncluded)
{
    band(first, 1, 100, "Class_0");
    band(first, 101, 200, "Class_1");
    band(first, 201, 300, "Class_2");
    const auto entries = coreClassesToJson(result(), {10, {100, 150}})["entries"];
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0]["class"], "Class_1");
    EXPECT_DOUBLE_EQ(entries[0]["seconds"].get<double>(), 50e-9);
    EXPECT_DOUBLE_EQ(entries[1]["seconds"].get<double>(), 1e-9);
}

TEST_F(CoreClassTest, TheLimitCountsThreadsAndTellsWhatItHides)
{
    band(first, 1, 2 * g_aSecond, "Class_0");
    band(first, 2 * g_aSecond + 1, 3 * g_aSecond, "Class_1");
    band(second, 1, g_aSecond, "Class_0");
    const std::string text = table({1, {}});
    EXPECT_NE(text.find("  not shown: 1 thread with 1.000000000 s (--limit)\n"), std::string::npos)
        << text;
    const auto json = coreClassesToJson(result(), {1, {}});
    EXPECT_EQ(json["entries"].size(), 2U);
    EXPECT_EQ(json["not_shown"].dump(), R"({"threads":1,"seconds":1.0})");
    EXPECT_EQ(coreClassesToJson(result(), {0, {}})["entries"].size(), 3U);
}

TEST_F(CoreClassTest, BandsOfTheIdleTaskBelongToNoThreadAndAreLeftOut)
{
    band(first, 1, 10, "Class_0");
    band(Index(), 11, 500, "Class_0");
    EXPECT_EQ(coreClassesToJson(result(), {})["entries"].size(), 1U);
}

TEST_F(CoreClassTest, AResultWithoutBandsSaysHowToLoadThem)
{
    EXPECT_THROW(table(), ReportError);
    try {
        coreClassesToJson(result(), {});
        FAIL() << "no error";
    } catch (const ReportError& error) {
        EXPECT_NE(std::string(error.what()).find("--hw-feedback"), std::string::npos);
    }
}

TEST_F(CoreClassTest, DamagedRowsAreShownAsFarAsTheyGo)
{
    band(Index(77), 50, 10, "Class_0");
    band(first, 0, std::numeric_limits<std::uint64_t>::max(), "x\x1b[2J");
    const auto entries = coreClassesToJson(result(), {})["entries"];
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_TRUE(entries[0]["tid"].is_null());
    EXPECT_DOUBLE_EQ(entries[0]["seconds"].get<double>(), 1e-9) << "a band is a tick at least";
    EXPECT_TRUE(entries[1]["percent"].is_null()) << "the ticks wrap to none";
    EXPECT_NE(table().find("x\\x1b[2J"), std::string::npos);
}

} // namespace
} // namespace samplefold::report
