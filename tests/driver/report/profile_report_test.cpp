#include "made_result.h"

#include "report/profile_report.h"

#include <limits>
#include <sstream>

namespace samplefold::report {
namespace {

using rowvault1::Index;
using testing::number;
using lines_t = std::vector<std::string>;

class ProfileReportTest : public testing::MadeResultTest {
protected:
    /// Entries of the JSON report, each a line of its values.
    lines_t entries(Grouping by, std::uint64_t limit = 0)
    {
        lines_t lines;
        const auto report = reportToJson(result(), {by, limit});
        for (const auto& entry : report["entries"]) {
            std::string line;
            for (const auto& [key, value] : entry.items())
                line += (line.empty() ? "" : " ") + value.dump();
            lines.push_back(line);
        }
        return lines;
    }
    std::string text(Grouping by)
    {
        std::ostringstream out;
        writeReport(result(), {by, 10}, out);
        return out.str();
    }

    const Index cycles = addEvent("cycles");
    const Index thread = addThread(10, 11, "worker");
    const Index cpu = add("dd_cpu", {{"number", number(3)}});
};

TEST_F(ProfileReportTest, AResultWithoutSamplesHasNoEntries)
{
    for (const auto& [name, by] : groupings())
        EXPECT_EQ(entries(by), lines_t{}) << name;
}

TEST_F(ProfileReportTest, ModulesAreAddedUpOverTheirPlaces)
{
    const Index a1 = addPlace("/lib/a.so", 1);
    const Index b1 = addPlace("/lib/b.so", 1);
    add({cycles, a1, thread, cpu, 30});
    add({cycles, b1, thread, cpu, 50});
    add({cycles, a1, thread, cpu, 20});
    add({cycles, addPlace("", 0x500), thread, cpu, 100});
    EXPECT_EQ(entries(Grouping::module),
              (lines_t{R"("cycles" "[unknown]" 1 100 50.0)", R"("cycles" "/lib/a.so" 2 50 25.0)",
                       R"("cycles" "/lib/b.so" 1 50 25.0)"}));
}

TEST_F(ProfileReportTest, AddressesAreHexadecimal)
{
    add({cycles, addPlace("/lib/a.so", 0x1234), thread, cpu, 3});
    add({cycles, addPlace("", 0xffffffff81000000), thread, cpu, 1});
    EXPECT_EQ(entries(Grouping::address),
              (lines_t{R"("cycles" "/lib/a.so" "0x1234" 1 3 75.0)",
                       R"("cycles" "[unknown]" "0xffffffff81000000" 1 1 25.0)"}));
}

TEST_F(ProfileReportTest, ProcessesThreadsAndCpus)
{
    const Index place = addPlace("/bin/a", 1);
    const Index other = addThread(20, 21, "other");
    add({cycles, place, thread, cpu, 1});
    add({cycles, place, other, Index(), 3});
    EXPECT_EQ(entries(Grouping::process),
              (lines_t{R"("cycles" 20 "other" 1 3 75.0)", R"("cycles" 10 "worker" 1 1 25.0)"}));
    EXPECT_EQ(entries(Grouping::thread), (lines_t{R"("cycles" 20 21 "other" 1 3 75.0)",
                                                  R"("cycles" 10 11 "worker" 1 1 25.0)"}));
    EXPECT_EQ(entries(Grouping::cpu),
              (lines_t{R"("cycles" null 1 3 75.0)", R"("cycles" 3 1 1 25.0)"}));
    EXPECT_EQ(entries(Grouping::event), (lines_t{R"("cycles" 2 4 100.0)"}));
}

TEST_F(ProfileReportTest, EqualCountsAreOrderedBySamplesThenByName)
{
    const Index b = addPlace("/lib/b.so", 1);
    add({cycles, addPlace("/lib/c.so", 1), thread, cpu, 10});
    add({cycles, addPlace("/lib/a.so", 1), thread, cpu, 10});
    add({cycles, b, thread, cpu, 4});
    add({cycles, b, thread, cpu, 6});
    EXPECT_EQ(entries(Grouping::module),
              (lines_t{R"("cycles" "/lib/b.so" 2 10 33.333333333333336)",
                       R"("cycles" "/lib/a.so" 1 10 33.333333333333336)",
                       R"("cycles" "/lib/c.so" 1 10 33.333333333333336)"}));
}

TEST_F(ProfileReportTest, TheLimitIsPerEventAndPercentagesAreOfAll)
{
    const Index faults = addEvent("faults");
    for (std::int64_t count = 1; count <= 4; ++count) {
        const Index place = addPlace("/lib/" + std::to_string(count), 1);
        add({cycles, place, thread, cpu, count});
        add({faults, place, thread, cpu, 10 * count});
    }
    EXPECT_EQ(entries(Grouping::module, 2),
              (lines_t{R"("cycles" "/lib/4" 1 4 40.0)", R"("cycles" "/lib/3" 1 3 30.0)",
                       R"("faults" "/lib/4" 1 40 40.0)", R"("faults" "/lib/3" 1 30 30.0)"}));
    EXPECT_EQ(entries(Grouping::module, 0).size(), 8U);
    EXPECT_EQ(entries(Grouping::event, 1).size(), 2U) << "events themselves are not limited";
}

TEST_F(ProfileReportTest, EventsOfOneNameHaveTablesOfTheirOwn)
{
    const Index alsoCycles = addEvent("cycles");
    const Index place = addPlace("/bin/a", 1);
    add({cycles, place, thread, cpu, 1});
    add({alsoCycles, place, thread, cpu, 7});
    const std::string table = "\nEvent cycles by module\n"
                              "  module  samples  count  percent\n"
                              "  /bin/a        1      ";
    EXPECT_NE(text(Grouping::module).find(table + "1  100.00%\n" + table + "7  100.00%\n"),
              std::string::npos)
        << text(Grouping::module);
}

TEST_F(ProfileReportTest, SumsOfCountsWrapWhereTheyAreTooLarge)
{
    const Index place = addPlace("/bin/a", 1);
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    add({cycles, place, thread, cpu, most});
    add({cycles, place, thread, cpu, most});
    EXPECT_EQ(entries(Grouping::event), (lines_t{R"("cycles" 2 -2 100.0)"}));
}

TEST_F(ProfileReportTest, CountsOfNothingHaveNoPercentage)
{
    add({cycles, addPlace("/bin/a", 1), thread, cpu, 0});
    EXPECT_EQ(entries(Grouping::module), (lines_t{R"("cycles" "/bin/a" 1 0 null)"}));
    EXPECT_NE(text(Grouping::module).find("/bin/a        1      0        -\n"), std::string::npos)
        << text(Grouping::module);
}

TEST_F(ProfileReportTest, SumsPerThreadAndAttributeDoNotCountAsSamples)
{
    result().setInfo("store_each_sample", "off");
    add({cycles, addPlace("/bin/a", 1), thread, cpu, 500});
    EXPECT_EQ(entries(Grouping::module), (lines_t{R"("cycles" "/bin/a" 500 100.0)"}));
}

TEST_F(ProfileReportTest, NamesCannotMoveTheCursor)
{
    add({addEvent("odd\x1b[2J"), addPlace("/bin/a\nb", 1), thread, cpu, 1});
    const std::string out = text(Grouping::module);
    EXPECT_NE(out.find("Event odd\\x1b[2J by module\n"), std::string::npos) << out;
    EXPECT_NE(out.find("  /bin/a\\x0ab"), std::string::npos) << out;
}

} // namespace
} // namespace samplefold::report
