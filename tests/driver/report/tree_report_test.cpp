#include "made_chains.h"

#include "report/report_error.h"

#include <limits>

namespace samplefold::report {
namespace {

using rowvault1::Index;

class TreeReportTest : public testing::MadeChainsTest {};

const std::string g_treeHead = "Event cycles: call tree from the outermost frame\n"
                               "  count  percent     self  function\n";
const std::string g_callersHead = "Event cycles: sampled functions, with their callers below\n"
                                  "  count  percent  function\n";
const std::string g_calleesHead =
    "Event cycles: functions and all below them, with what they called\n"
    "  count  percent     self  function\n";

TEST_F(TreeReportTest, TheTreeAddsUpFromTheOutermostFrame)
{
    sample({"main", "work", "hot"}, 60);
    sample({"main", "work"}, 10);
    sample({"main", "idle"}, 25);
    sample({"start"}, 5);
    EXPECT_EQ(trees(TreeKind::tree), g_treeHead + "     95   95.00%    0.00%  main  (app)\n"
                                                  "     70   70.00%   10.00%    work  (app)\n"
                                                  "     60   60.00%   60.00%      hot  (app)\n"
                                                  "     25   25.00%   25.00%    idle  (app)\n"
                                                  "      5    5.00%    5.00%  start  (app)\n");
}

TEST_F(TreeReportTest, PlacesOfAFunctionUnderOneCallerAreOneEntry)
{
    sample({"main@1", "f@1"}, 1);
    sample({"main@2", "f@1"}, 2);
    sample({"main@2", "f@2"}, 4);
    sample({"main@1", "g", "f@1"}, 3);
    EXPECT_EQ(trees(TreeKind::tree), g_treeHead + "     10  100.00%    0.00%  main  (app)\n"
                                                  "      7   70.00%   70.00%    f  (app)\n"
                                                  "      3   30.00%    0.00%    g  (app)\n"
                                                  "      3   30.00%   30.00%      f  (app)\n");
}

TEST_F(TreeReportTest, CallersStandBelowTheSampledFunction)
{
    sample({"main", "a", "leaf"}, 50);
    sample({"main", "b", "leaf"}, 30);
    sample({"main", "b"}, 20);
    EXPECT_EQ(trees(TreeKind::callers), g_callersHead + "     80   80.00%  leaf  (app)\n"
                                                        "     50   50.00%    a  (app)\n"
                                                        "     50   50.00%      main  (app)\n"
                                                        "     30   30.00%    b  (app)\n"
                                                        "     30   30.00%      main  (app)\n"
                                                        "     20   20.00%  b  (app)\n"
                                                        "     20   20.00%    main  (app)\n");
}

TEST_F(TreeReportTest, ChainsThatEndBesideOthersHaveNoCaller)
{
    sample({"leaf"}, 1);
    sample({"main", "leaf"}, 3);
    EXPECT_EQ(trees(TreeKind::callers), g_callersHead + "      4  100.00%  leaf  (app)\n"
                                                        "      3   75.00%    main  (app)\n"
                                                        "      1   25.00%    [no caller]\n");
}

TEST_F(TreeReportTest, CalleesStandBelowEachFunction)
{
    sample({"main", "a", "leaf"}, 50);
    sample({"main", "b", "leaf"}, 30);
    sample({"main", "b"}, 20);
    EXPECT_EQ(trees(TreeKind::callees, {0, 2, 0.0}),
              g_calleesHead + "    100  100.00%    0.00%  main  (app)\n"
                              "     50   50.00%   20.00%    b  (app)\n"
                              "     50   50.00%    0.00%    a  (app)\n"
                              "     80   80.00%   80.00%  leaf  (app)\n"
                              "     50   50.00%   20.00%  b  (app)\n"
                              "     30   30.00%   30.00%    leaf  (app)\n"
                              "     50   50.00%    0.00%  a  (app)\n"
                              "     50   50.00%   50.00%    leaf  (app)\n"
                              "  not shown: what stands below 2 entries at level 2 (--depth)\n");
}

TEST_F(TreeReportTest, ARecursiveFunctionCountsASampleOnce)
{
    sample({"f", "f", "g", "f"}, 8);
    sample({"f", "h"}, 2);
    EXPECT_EQ(trees(TreeKind::callees, {1, 0, 0.0}),
              g_calleesHead + "     10  100.00%   80.00%  f  (app)\n"
                              "      8   80.00%    0.00%    f  (app)\n"
                              "      8   80.00%    0.00%    g  (app)\n"
                              "      8   80.00%   80.00%      f  (app)\n"
                              "      2   20.00%   20.00%    h  (app)\n"
                              "                           ... 2 more, at most 80.00% each\n"
                              "  not shown: 2 entries after the first 1 (--limit)\n");
}

TEST_F(TreeReportTest, WhatIsHiddenIsToldAsASum)
{
    sample({"main", "big"}, 900);
    sample({"main", "small"}, 4);
    sample({"main", "tiny"}, 3);
    sample({"other"}, 60);
    sample({"third"}, 33);
    EXPECT_EQ(trees(TreeKind::tree, {1, 0, 0.5}),
              g_treeHead + "    907   90.70%    0.00%  main  (app)\n"
                           "    900   90.00%   90.00%    big  (app)\n"
                           "      7    0.70%             ... 2 more\n"
                           "     93    9.30%           ... 2 more\n"
                           "  not shown: 2 entries after the first 1 (--limit)\n"
                           "  not shown: 2 entries below 0.5% (--min-percent)\n");
}

TEST_F(TreeReportTest, EntriesAtTheMinimumAreShown)
{
    sample({"a"}, 199);
    sample({"b"}, 1);
    EXPECT_EQ(trees(TreeKind::tree, {0, 0, 0.5}), g_treeHead +
                                                      "    199   99.50%   99.50%  a  (app)\n"
                                                      "      1    0.50%    0.50%  b  (app)\n");
}

TEST_F(TreeReportTest, LevelsBelowTheDepthAreTold)
{
    sample({"a", "b", "c"}, 3);
    sample({"a", "d"}, 1);
    EXPECT_EQ(trees(TreeKind::tree, {0, 2, 0.0}),
              g_treeHead + "      4  100.00%    0.00%  a  (app)\n"
                           "      3   75.00%    0.00%    b  (app)\n"
                           "      1   25.00%   25.00%    d  (app)\n"
                           "  not shown: what stands below 1 entry at level 2 (--depth)\n");
}

TEST_F(TreeReportTest, EqualCountsAreOrderedBySamplesThenByName)
{
    sample({"c"}, 2);
    sample({"a"}, 2);
    sample({"b"}, 1);
    sample({"b"}, 1);
    EXPECT_EQ(trees(TreeKind::tree), g_treeHead + "      2   33.33%   33.33%  b  (app)\n"
                                                  "      2   33.33%   33.33%  a  (app)\n"
                                                  "      2   33.33%   33.33%  c  (app)\n");
}

TEST_F(TreeReportTest, EachEventHasATreeOfItsOwn)
{
    const Index faults = addEvent("faults");
    sample({"main", "a"}, 10);
    sample({"main", "b"}, 3, faults);
    EXPECT_EQ(trees(TreeKind::tree), g_treeHead +
                                         "     10  100.00%    0.00%  main  (app)\n"
                                         "     10  100.00%  100.00%    a  (app)\n"
                                         "\n"
                                         "Event faults: call tree from the outermost frame\n"
                                         "  count  percent     self  function\n"
                                         "      3  100.00%    0.00%  main  (app)\n"
                                         "      3  100.00%  100.00%    b  (app)\n");
}

TEST_F(TreeReportTest, EventsOfOneNameHaveTreesOfTheirOwn)
{
    sample({"main"}, 10);
    sample({"main"}, 3, addEvent("cycles"));
    EXPECT_EQ(trees(TreeKind::tree), g_treeHead + "     10  100.00%  100.00%  main  (app)\n\n" +
                                         g_treeHead + "      3  100.00%  100.00%  main  (app)\n");
}

TEST_F(TreeReportTest, WithoutSamplesThereIsNoTree)
{
    EXPECT_EQ(trees(TreeKind::tree), "");
    EXPECT_EQ(treesJson(TreeKind::callers)["events"].dump(), "[]");
}

TEST_F(TreeReportTest, CountsOfNothingHaveNoPercentageAndAreNotHidden)
{
    sample({"main"}, 0);
    EXPECT_EQ(trees(TreeKind::tree, {0, 0, 50.0}),
              g_treeHead + "      0        -        -  main  (app)\n");
    EXPECT_TRUE(treesJson(TreeKind::tree)["events"][0]["nodes"][0]["percent"].is_null());
}

TEST_F(TreeReportTest, SumsOfCountsWrapWhereTheyAreTooLarge)
{
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    sample({"main", "a"}, most);
    sample({"main", "b"}, most);
    const auto nodes = treesJson(TreeKind::tree)["events"][0]["nodes"];
    EXPECT_EQ(nodes[0]["count"], -2);
    EXPECT_EQ(nodes[1]["count"], most);
}

TEST_F(TreeReportTest, JsonIsAFlatListThatKnowsItsParents)
{
    sample({"main", "f"}, 3);
    sample({"main", "g"}, 1);
    sample(frame(chain({"main"}), place("/lib/x.so", 0x10)), 4);
    const auto report = treesJson(TreeKind::tree, {0, 0, 20.0});
    EXPECT_EQ(report["report"], "tree");
    EXPECT_EQ(report["summary"]["state"], "incomplete");
    const auto& event = report["events"][0];
    EXPECT_EQ(event["event"], "cycles");
    EXPECT_EQ(event["samples"], 3);
    EXPECT_EQ(event["count"], 8);
    ASSERT_EQ(event["nodes"].size(), 4U);
    EXPECT_EQ(event["nodes"][0].dump(),
              R"({"id":1,"parent":null,"depth":0,"label":"main","function":"main",)"
              R"("module":"/bin/app","samples":3,"count":8,"percent":100.0,)"
              R"("self_samples":0,"self_count":0,"self_percent":0.0})");
    EXPECT_EQ(event["nodes"][1].dump(),
              R"({"id":2,"parent":1,"depth":1,"label":"x.so+0x10","function":null,)"
              R"("module":"/lib/x.so","samples":1,"count":4,"percent":50.0,)"
              R"("self_samples":1,"self_count":4,"self_percent":50.0})");
    EXPECT_EQ(event["nodes"][3].dump(),
              R"({"id":4,"parent":1,"depth":1,"hidden":1,"samples":1,"count":1,"percent":12.5})");
    EXPECT_EQ(event["not_shown"].dump(),
              R"({"over_limit":0,"below_min_percent":1,"with_deeper_levels":0})");
}

TEST_F(TreeReportTest, HiddenCalleesAreToldByTheLargest)
{
    sample({"main", "f", "g"}, 4);
    const auto nodes = treesJson(TreeKind::callees, {1, 1, 0.0})["events"][0]["nodes"];
    EXPECT_EQ(nodes[1].dump(), R"({"id":2,"parent":null,"depth":0,"hidden":2,"largest_samples":1,)"
                               R"("largest_count":4,"largest_percent":100.0})");
}

TEST_F(TreeReportTest, CallersHaveNoCountsOfTheirOwn)
{
    sample({"main", "f"}, 4);
    const auto nodes = treesJson(TreeKind::callers)["events"][0]["nodes"];
    EXPECT_EQ(nodes[1].dump(), R"({"id":2,"parent":1,"depth":1,"label":"main","function":"main",)"
                               R"("module":"/bin/app","samples":1,"count":4,"percent":100.0})");
}

TEST_F(TreeReportTest, SumsPerThreadAndAttributeDoNotCountAsSamples)
{
    result().setInfo("store_each_sample", "off");
    sample({"main"}, 500);
    const auto event = treesJson(TreeKind::tree)["events"][0];
    EXPECT_FALSE(event.contains("samples"));
    EXPECT_FALSE(event["nodes"][0].contains("samples"));
    EXPECT_EQ(event["nodes"][0]["count"], 500);
}

TEST_F(TreeReportTest, NamesCannotMoveTheCursor)
{
    sample({"odd\x1b[2J\nname"}, 1, addEvent("ev\nent"));
    const std::string out = trees(TreeKind::tree);
    EXPECT_TRUE(out.starts_with("Event ev\\x0aent: ")) << out;
    EXPECT_NE(out.find("  odd\\x1b[2J\\x0aname  (app)\n"), std::string::npos) << out;
}

TEST_F(TreeReportTest, AResultWithoutCallChainsIsRefused)
{
    sample({"main"}, 1);
    result().setInfo("stacks", "on");
    EXPECT_NE(trees(TreeKind::tree), "");
    result().setInfo("stacks", "off");
    for (const TreeKind kind : {TreeKind::tree, TreeKind::callers, TreeKind::callees}) {
        try {
            trees(kind);
            FAIL() << "no error";
        } catch (const ReportError& error) {
            EXPECT_NE(std::string(error.what()).find("--stacks on"), std::string::npos);
        }
        EXPECT_THROW(treesJson(kind), ReportError);
    }
}

} // namespace
} // namespace samplefold::report
