#include "made_chains.h"

#include "report/annotate_report.h"
#include "report/report_error.h"

#include "support/temporary_folder.h"

#include <sstream>

namespace samplefold::report {
namespace {

using rowvault1::Index;

class AnnotateTest : public testing::MadeChainsTest {
protected:
    std::string written(const AnnotateOptions& options)
    {
        std::ostringstream out;
        writeAnnotation(result(), options, out);
        return out.str();
    }
    AnnotateOptions of(const std::string& function) { return {function, "", "", {sources.path()}}; }

    const std::string app = "/bin/app";
    samplefold_test::TemporaryFolder sources;
};

TEST_F(AnnotateTest, LinesStandWithTheirCountsAndThoseAround)
{
    sources.addFile("f.c", "int f()\n{\n\tint a;\x1b\n  four\n  five\n  six\n  seven\n  eight\n"
                           "  nine\n  ten\n  eleven\n  twelve\n  thirteen\n  fourteen\n");
    const Index f = function("f", app);
    name(app, 1, {f, "/gone/f.c", 3});
    name(app, 2, {f, "/gone/f.c", 12});
    sampleAt(app, 1, 30);
    sampleAt(app, 2, 10);
    sampleAt(app, 9, 60);
    EXPECT_EQ(written(of("f")), "f in /bin/app\n"
                                "  cycles: count 40 in 2 samples, 40.00% of the event\n"
                                "\n"
                                "  /gone/f.c\n"
                                "    cycles  percent  line  source\n"
                                "                        1  int f()\n"
                                "                        2  {\n"
                                "        30   75.00%     3          int a;\\x1b\n"
                                "                        4    four\n"
                                "                        5    five\n"
                                "                        6    six\n"
                                "                      ...\n"
                                "                        9    nine\n"
                                "                       10    ten\n"
                                "                       11    eleven\n"
                                "        10   25.00%    12    twelve\n"
                                "                       13    thirteen\n"
                                "                       14    fourteen\n");
}

TEST_F(AnnotateTest, WithoutTheSourceTheCountedLinesStandAlone)
{
    const Index f = function("f", app);
    name(app, 1, {f, "/gone/f.c", 3});
    sampleAt(app, 1, 30);
    EXPECT_EQ(written(of("f")),
              "f in /bin/app\n"
              "  cycles: count 30 in 1 samples, 100.00% of the event\n"
              "\n"
              "  /gone/f.c: not found\n"
              "    cycles  percent  line  source\n"
              "        30  100.00%     3\n"
              "\n"
              "Source files that are not found show without text: --source DIR tells where they "
              "lie\n");
}

TEST_F(AnnotateTest, InlinedCodeStandsUnderItsOwnFile)
{
    const Index f = function("f", app);
    const Index call = inlined(function("helper", app), "/gone/f.c", 4);
    name(app, 1, {f, "/gone/f.c", 3});
    name(app, 2, {f, "/gone/helper.h", 50, call});
    name(app, 3, {f, "/gone/f.c", 9, call});
    sampleAt(app, 1, 10);
    sampleAt(app, 2, 60);
    sampleAt(app, 3, 30);
    const auto json = annotationToJson(result(), of("f"))["functions"][0];
    EXPECT_EQ(json["inlined_from_other_files"].dump(),
              R"([{"event":"cycles","samples":1,"count":60,"percent":60.0}])");
    ASSERT_EQ(json["files"].size(), 2U);
    EXPECT_EQ(json["files"][0]["path"], "/gone/f.c");
    EXPECT_EQ(json["files"][0]["is_own"], true);
    EXPECT_EQ(json["files"][0]["lines"].size(), 2U);
    EXPECT_EQ(json["files"][1]["path"], "/gone/helper.h");
    EXPECT_EQ(json["files"][1]["lines"][0]["line"], 50);
    EXPECT_NE(written(of("f")).find("60.00% of it in code inlined from other files"),
              std::string::npos);
}

TEST_F(AnnotateTest, AFunctionMadeOfInlinedCodeHasTheFileOfTheCall)
{
    const Index f = function("f", app);
    const Index outer = inlined(function("g", app), "/gone/f.c", 4);
    const Index inner = inlined(function("h", app), "/gone/g.h", 5, outer);
    name(app, 1, {f, "/gone/h.h", 50, inner});
    sampleAt(app, 1, 1);
    const auto json = annotationToJson(result(), of("f"))["functions"][0];
    EXPECT_EQ(json["files"][0]["is_own"], false);
    EXPECT_EQ(json["inlined_from_other_files"][0]["count"], 1);
}

TEST_F(AnnotateTest, EventsStandSideBySideAndCanBeChosen)
{
    const Index misses = addEvent("misses");
    const Index f = function("f", app);
    name(app, 1, {f, "/gone/f.c", 3});
    name(app, 2, {f, "/gone/f.c", 5});
    sampleAt(app, 1, 30);
    sampleAt(app, 1, 1, misses);
    sampleAt(app, 2, 3, misses);
    const std::string text = written(of("f"));
    EXPECT_NE(text.find("    cycles  percent  misses  percent  line  source\n"
                        "        30  100.00%       1   25.00%     3\n"),
              std::string::npos)
        << text;
    AnnotateOptions options = of("f");
    options.event = "misses";
    EXPECT_EQ(written(options).find("cycles"), std::string::npos);
    options.event = "faults";
    try {
        written(options);
        FAIL();
    } catch (const ReportError& error) {
        const std::string problem = error.what();
        EXPECT_TRUE(problem.ends_with("no samples of an event 'faults'; there are samples of "
                                      "cycles, misses"))
            << problem;
    }
}

TEST_F(AnnotateTest, PlacesWithoutALineStandByAddress)
{
    const Index f = function("f", app);
    name(app, 0x1a, {f, ""});
    name(app, 0x1b, {f, "/gone/f.c"});
    sampleAt(app, 0x1a, 1);
    sampleAt(app, 0x1b, 2);
    const auto json = annotationToJson(result(), of("f"))["functions"][0];
    EXPECT_EQ(json["files"].size(), 0U);
    ASSERT_EQ(json["addresses"].size(), 2U);
    EXPECT_EQ(json["addresses"][0]["address"], "0x1a");
    EXPECT_EQ(json["addresses"][1]["counts"][0]["count"], 2);
}

TEST_F(AnnotateTest, OnlySampledPlacesCount)
{
    const Index f = function("f", app);
    name(app, 1, {f, "/gone/f.c", 3});
    sample(frame(frame(Index(), place(app, 1)), place(app, 2)), 10);
    EXPECT_EQ(written(of("f")), "f in /bin/app\n  no samples hit in it\n");
}

} // namespace
} // namespace samplefold::report
