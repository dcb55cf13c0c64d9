#include "made_chains.h"

#include "report/profile_report.h"
#include "report/report_error.h"

#include <map>
#include <sstream>

namespace samplefold::report {
namespace {

using rowvault1::Index;
using lines_t = std::vector<std::string>;

/// Samples grouped by function, and groupings of a part of the recording.
class FunctionReportTest : public testing::MadeChainsTest {
protected:
    lines_t entries(Grouping by, const TickRange& range = {})
    {
        lines_t lines;
        const auto report = reportToJson(result(), {by, 0, range});
        for (const auto& entry : report["entries"]) {
            std::string line;
            for (const auto& [key, value] : entry.items())
                line += (line.empty() ? "" : " ") + value.dump();
            lines.push_back(line);
        }
        return lines;
    }
};

TEST_F(FunctionReportTest, PlacesOfAFunctionAreAddedUp)
{
    sample({"main", "f@1"}, 10);
    sample({"main", "g", "f@2"}, 20);
    sample({"main"}, 70);
    EXPECT_EQ(entries(Grouping::function), (lines_t{R"("cycles" "main" "/bin/app" 1 70 70.0)",
                                                    R"("cycles" "f" "/bin/app" 2 30 30.0)"}));
}

TEST_F(FunctionReportTest, PlacesWithoutANameShowAsInTheTrees)
{
    sampleAt("/lib/x.so", 0x1a, 64);
    sampleAt("", 0x7f0000001000, 32);
    sampleAt("", 0, 16);
    sampleAt("", 1, 8);
    sampleAt("", 2, 4);
    sampleAt("", 3, 2);
    sample(frame(Index(), Index(99)), 1);
    const lines_t want{R"("cycles" "x.so+0x1a" "/lib/x.so" 1 64)",
                       R"("cycles" "0x7f0000001000" "[unknown]" 1 32)",
                       R"("cycles" "0x0" "[unknown]" 1 16)",
                       R"("cycles" "[chain cut off]" "[unknown]" 1 8)",
                       R"("cycles" "0xfffffffffffffffe" "[unknown]" 1 4)",
                       R"("cycles" "0xfffffffffffffffd" "[unknown]" 1 2)",
                       R"("cycles" "[unknown]" "[unknown]" 1 1)"};
    const lines_t got = entries(Grouping::function);
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i)
        EXPECT_TRUE(got[i].starts_with(want[i] + " ")) << got[i];
}

TEST_F(FunctionReportTest, EntriesAreThoseAtTheTopOfTheCallers)
{
    sampleAt("/lib/x.so", 0x1a, 40);
    sampleAt("", 1, 8);
    sampleAt("", 3, 7);
    sampleAt("", 0x500, 20);
    name("/lib/x.so", 0x2a, "named", "/lib/other.so");
    sampleAt("/lib/x.so", 0x2a, 9);
    sample({"main", "main"}, 3);
    std::map<std::pair<std::string, std::string>, std::int64_t> byFunction;
    std::map<std::pair<std::string, std::string>, std::int64_t> tops;
    const auto groups = reportToJson(result(), {Grouping::function, 0});
    for (const auto& entry : groups["entries"])
        byFunction[{entry["function"], entry["module"]}] = entry["count"];
    const auto callers = treesJson(TreeKind::callers);
    for (const auto& node : callers["events"][0]["nodes"]) {
        if (node["depth"] != 0) continue;
        const auto& module = node["module"];
        tops[{node["label"], module.is_null() ? "[unknown]" : module.get<std::string>()}] =
            node["count"];
    }
    EXPECT_EQ(byFunction, tops);
    EXPECT_EQ(byFunction.size(), 6U);
}

TEST_F(FunctionReportTest, SeveralNamesOfOnePlaceDoNotCountItTwice)
{
    name("/bin/a", 1, "first");
    name("/bin/a", 1, "second");
    sampleAt("/bin/a", 1, 5);
    const lines_t got = entries(Grouping::function);
    ASSERT_EQ(got.size(), 1U);
    EXPECT_TRUE(got[0].ends_with(" 1 5 100.0")) << got[0];
}

TEST_F(FunctionReportTest, PlacesOfALineAreAddedUpWhateverFunctionTheyAreIn)
{
    const std::string app = "/bin/app";
    const Index f = function("f", app);
    name(app, 1, {f, "/src/a.c", 7});
    name(app, 2, {function("g", app), "/src/a.c", 7});
    name(app, 3, {f, "/src/b.c", 7});
    sampleAt(app, 1, 10);
    sampleAt(app, 2, 20);
    sampleAt(app, 3, 70);
    EXPECT_EQ(entries(Grouping::sourceLine),
              (lines_t{R"("cycles" "/src/b.c:7" "/bin/app" 1 70 70.0)",
                       R"("cycles" "/src/a.c:7" "/bin/app" 2 30 30.0)"}));
}

TEST_F(FunctionReportTest, WithoutALineTheFunctionOrAddressIsShown)
{
    const std::string app = "/bin/app";
    const Index f = function("f", app);
    name(app, 1, {f, "/src/a.c"});
    name(app, 2, {f, ""});
    name(app, 3, {Index(), ""});
    sampleAt(app, 1, 40);
    sampleAt(app, 2, 30);
    sampleAt(app, 3, 20);
    sampleAt("", 0x500, 10);
    EXPECT_EQ(entries(Grouping::sourceLine),
              (lines_t{R"("cycles" "/src/a.c:?" "/bin/app" 1 40 40.0)",
                       R"("cycles" "f" "/bin/app" 1 30 30.0)",
                       R"("cycles" "app+0x3" "/bin/app" 1 20 20.0)",
                       R"("cycles" "0x500" "[unknown]" 1 10 10.0)"}));
}

TEST_F(FunctionReportTest, ARowWithoutAFunctionShowsByAddress)
{
    name("/bin/app", 3, {Index(), ""});
    sampleAt("/bin/app", 3, 1);
    for (const Grouping by : {Grouping::function, Grouping::inlinedFunction})
        EXPECT_EQ(entries(by), (lines_t{R"("cycles" "app+0x3" "/bin/app" 1 1 100.0)"}));
    EXPECT_EQ(treesJson(TreeKind::tree)["events"][0]["nodes"][0]["label"], "app+0x3");
}

TEST_F(FunctionReportTest, InlinedCodeCountsForWhoHasItOrForTheInnermostFunction)
{
    const std::string app = "/bin/app";
    const Index outer = function("outer", app);
    const Index middle = inlined(function("middle", app), "/src/a.c", 5);
    const Index innermost = inlined(function("innermost", app), "/src/a.h", 6, middle);
    name(app, 1, {outer, "/src/b.h", 9, innermost});
    name(app, 2, {outer, "/src/a.c", 4});
    sampleAt(app, 1, 75);
    sampleAt(app, 2, 25);
    EXPECT_EQ(entries(Grouping::function), (lines_t{R"("cycles" "outer" "/bin/app" 2 100 100.0)"}));
    EXPECT_EQ(entries(Grouping::inlinedFunction),
              (lines_t{R"("cycles" "innermost" "/bin/app" 1 75 75.0)",
                       R"("cycles" "outer" "/bin/app" 1 25 25.0)"}));
}

TEST_F(FunctionReportTest, EveryGroupingKeepsToTheRange)
{
    sample({"before"}, 1, {}, 99);
    sample({"first"}, 2, {}, 100);
    sample({"last"}, 6, {}, 200);
    sample({"behind"}, 16, {}, 201);
    EXPECT_EQ(entries(Grouping::function, {100, 200}),
              (lines_t{R"("cycles" "last" "/bin/app" 1 6 75.0)",
                       R"("cycles" "first" "/bin/app" 1 2 25.0)"}));
    for (const auto& [name, by] : groupings()) {
        std::int64_t sum = 0;
        const auto report = reportToJson(result(), {by, 0, {100, 200}});
        for (const auto& entry : report["entries"])
            sum += entry["count"].get<std::int64_t>();
        EXPECT_EQ(sum, 8) << name;
        EXPECT_EQ(report["range"]["sample_rows"], 2) << name;
    }
}

TEST_F(FunctionReportTest, SumsOverTheRecordingHaveNoRange)
{
    sample({"main"}, 1);
    result().setInfo("store_each_sample", "off");
    EXPECT_THROW(entries(Grouping::module, {1, 2}), ReportError);
    EXPECT_THROW(trees(TreeKind::tree, everything, {1, 2}), ReportError);
    EXPECT_EQ(entries(Grouping::function).size(), 1U);
}

} // namespace
} // namespace samplefold::report
