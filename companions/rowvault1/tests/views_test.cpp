#include "result_fixture.h"

#include <rowvault1/schema.h>

using namespace rowvault1;
using tb2::variant_t;

namespace {

class Views : public ResultTest {
protected:
    Views() : result(create())
    {
        addRow(*result, "dd_process",
               {{0, variant_t(100)}, {1, variant_t("work")}, {5, variant_t(0)}});
        addRow(
            *result, "dd_process",
            {{0, variant_t(101)}, {1, variant_t("child")}, {4, variant_t(1)}, {5, variant_t(0)}});
        addRow(*result, "dd_thread",
               {{0, variant_t(1)}, {1, variant_t(105)}, {2, variant_t("worker")}});
        addRow(*result, "dd_event_type", {{0, variant_t("cycles")}, {5, variant_t(0)}});
        addRow(*result, "dd_event_type", {{0, variant_t("ticks")}, {5, variant_t(1)}});
        addRow(*result, "dd_cpu", {{0, variant_t(6)}});
        addRow(*result, "dd_cpu_mode", {{0, variant_t("kernel")}});
        addRow(
            *result, "dd_module_file",
            {{0, variant_t("vmlinux")}, {1, variant_t("/boot/vmlinux")}, {13, variant_t("abcd")}});
        addRow(*result, "dd_module_segment", {{0, variant_t(1)}});
        addRow(*result, "dd_segment_instance", {{0, variant_t(1)}});
        addRow(*result, "dd_code_location",
               {{0, variant_t(std::uint64_t{0x1234})}, {1, variant_t(1)}});
        addRow(*result, "dd_code_location",
               {{0, variant_t(std::uint64_t{0xffffffff81000000U})}, {1, variant_t(-1)}});
        addRow(*result, "dd_callsite", {{1, variant_t(2)}});
        addRow(*result, "dd_callsite", {{0, variant_t(1)}, {1, variant_t(1)}});
        addRow(*result, "dd_sample",
               {{0, variant_t(1)},
                {2, variant_t(std::uint64_t{0xffffffff81000000U})},
                {5, variant_t(1)},
                {11, variant_t(1)}});
    }

    void add(std::uint64_t time, int event, int callsite, bool next)
    {
        const auto record = result->instanceContainer()->createOrphanInstanceRecord();
        record->setKey(0, 1);
        record->setKey(1, callsite);
        record->setKey(2, event);
        record->setKey(3, event == 2 ? -1 : 1);
        record->setKey(4, 1);
        if (next) {
            record->setKey(5, 1);
            record->setKey(6, 2);
        }
        record->setInteger(1, 500);
        record->setInteger(2, time - 9);
        record->setDouble(0, 0.5);
        record->insert(time);
    }

    /// The first place in code is of `innermost`, inlined into `middle`, inlined into `compute`.
    void nameSourceLine()
    {
        for (const char* const name : {"compute", "middle", "innermost"})
            addRow(*result, "dd_function", {{0, variant_t(name)}, {1, variant_t(1)}});
        for (const char* const path : {"/src/work.c", "/src/other.h", "/src/work.h"})
            addRow(*result, "dd_source_file", {{0, variant_t(path)}});
        addRow(*result, "dd_inlined", {{0, variant_t(2)}, {2, variant_t(1)}, {3, variant_t(30)}});
        addRow(*result, "dd_inlined",
               {{0, variant_t(3)}, {1, variant_t(1)}, {2, variant_t(2)}, {3, variant_t(20)}});
        addRow(*result, "dd_code_name",
               {{0, variant_t(1)},
                {1, variant_t(std::uint64_t{0x1234})},
                {2, variant_t(1)},
                {3, variant_t(3)},
                {4, variant_t(7)},
                {5, variant_t(2)}});
    }

    tb2::sptr_t<IResult> result;
};

TEST_F(Views, SamplesShowNamesBesideTheKeysAndTheIpInHexadecimal)
{
    add(10, 1, 2, true);
    result->finish();
    EXPECT_EQ(shell("SELECT * FROM samples"),
              "1|10|cycles|100|105|work|worker|6|kernel|"
              "0xffffffff81000000|vmlinux|500|0.5|2|1|cycles|2||||1|");
}

TEST_F(Views, AMissingKeyShowsAsNull)
{
    add(10, 1, -1, false);
    result->finish();
    EXPECT_EQ(
        shell("SELECT callsite IS NULL, next_event IS NULL, next_callsite IS NULL FROM samples"),
        "1|1|1");
}

TEST_F(Views, ACountingEventShowsNoFollowingSampleWhateverItsRowRepeats)
{
    add(10, 2, 2, true);
    result->finish();
    EXPECT_EQ(
        shell("SELECT event, cpu IS NULL, next_event IS NULL, next_callsite IS NULL FROM samples"),
        "ticks|1|1|1");
}

TEST_F(Views, SamplesAndFramesNameTheFunctionOfTheirPlace)
{
    addRow(*result, "dd_function", {{0, variant_t("compute")}, {1, variant_t(1)}});
    addRow(*result, "dd_code_name",
           {{0, variant_t(1)}, {1, variant_t(std::uint64_t{0x1234})}, {2, variant_t(1)}});
    add(10, 1, 2, false);
    add(20, 1, 1, false);
    result->finish();
    EXPECT_EQ(shell("SELECT end_tsc, function IS NULL, function FROM samples"),
              "10|0|compute\n20|1|");
    EXPECT_EQ(shell("SELECT depth, function FROM frames WHERE callsite = 2 ORDER BY depth"),
              "0|compute\n1|");
}

TEST_F(Views, SamplesAndFramesShowTheSourceLineOfTheirPlace)
{
    nameSourceLine();
    add(10, 1, 2, false);
    add(20, 1, 1, false);
    result->finish();
    EXPECT_EQ(shell("SELECT end_tsc, function, file, line FROM samples ORDER BY end_tsc"),
              "10|compute|/src/work.h|7\n20|||");
    EXPECT_EQ(shell("SELECT depth, function, file, line FROM frames WHERE callsite = 2 "
                    "ORDER BY depth"),
              "0|compute|/src/work.h|7\n1|||");
}

TEST_F(Views, APlaceWhoseRowHasNoFunctionTellsWhy)
{
    addRow(*result, "dd_missing_name", {{0, variant_t("no symbol covers it")}});
    addRow(*result, "dd_code_name",
           {{0, variant_t(1)}, {1, variant_t(std::uint64_t{0x1234})}, {6, variant_t(1)}});
    add(10, 1, 2, false);
    result->finish();
    EXPECT_EQ(shell("SELECT * FROM code ORDER BY location"),
              "1|vmlinux|0x1234||||no symbol covers it\n"
              "2||0xffffffff81000000||||outside every known module");
    EXPECT_EQ(shell("SELECT function IS NULL, line IS NULL FROM samples"), "1|1");
}

TEST_F(Views, AModuleTellsWhyItsPlacesWithoutARowHaveNoName)
{
    addRow(*result, "dd_missing_name", {{0, variant_t("no file was found")}});
    addRow(*result, "dd_module_search", {{0, variant_t(1)}, {3, variant_t(1)}});
    result->finish();
    EXPECT_EQ(shell("SELECT missing FROM code WHERE location = 1"), "no file was found");
    EXPECT_EQ(shell("SELECT missing FROM modules"), "no file was found");
}

TEST_F(Views, CodeThatNobodyLookedForSaysSo)
{
    result->finish();
    EXPECT_EQ(shell("SELECT missing FROM code WHERE location = 1"), "names were not looked for");
}

TEST_F(Views, CodeShowsTheNamesOfAPlace)
{
    nameSourceLine();
    result->finish();
    EXPECT_EQ(shell("SELECT * FROM code WHERE location = 1"),
              "1|vmlinux|0x1234|compute|/src/work.h|7|");
}

TEST_F(Views, InlinedFramesLeadFromTheInnermostToTheFunctionThatHasTheCode)
{
    nameSourceLine();
    result->finish();
    EXPECT_EQ(
        shell("SELECT * FROM inlined_frames ORDER BY depth"),
        "1|0|innermost|/src/work.h|7\n1|1|middle|/src/other.h|20\n1|2|compute|/src/work.c|30");
}

TEST_F(Views, AChainOfInlinedFunctionsThatLeadsBackToItselfEnds)
{
    addRow(*result, "dd_inlined", {{0, variant_t(1)}, {1, variant_t(1)}});
    addRow(*result, "dd_code_name",
           {{0, variant_t(1)}, {1, variant_t(std::uint64_t{0x1234})}, {5, variant_t(1)}});
    result->finish();
    EXPECT_EQ(shell("SELECT count(*) FROM inlined_frames"), "1001");
}

TEST_F(Views, ModulesAndAttemptsShowTheLastSearch)
{
    for (const char* const found : {"/old/vmlinux", "/new/vmlinux"}) {
        const Index search = addRow(
            *result, "dd_module_search",
            {{0, variant_t(1)}, {1, variant_t(found)}, {2, variant_t("/new/vmlinux.debug")}});
        addRow(*result, "dd_module_attempt",
               {{0, variant_t(search.value())},
                {1, variant_t(0)},
                {2, variant_t("binary")},
                {3, variant_t("path itself")},
                {4, variant_t(found)},
                {5, variant_t("build id")},
                {6, variant_t("it has another")}});
    }
    result->finish();
    EXPECT_EQ(shell("SELECT name, found, symbols, missing FROM modules"),
              "vmlinux|/new/vmlinux|/new/vmlinux.debug|");
    EXPECT_EQ(shell("SELECT * FROM module_attempts"),
              "1|/boot/vmlinux|0|binary|path itself|/new/vmlinux|build id|it has another");
}

TEST_F(Views, GeneratedCodeShowsWhereAndWhenItWas)
{
    addRow(*result, "dd_function", {{0, variant_t("compute")}, {1, variant_t(1)}});
    addRow(*result, "dd_jit_region",
           {{0, variant_t(1)},
            {1, variant_t(1)},
            {2, variant_t(std::uint64_t{0x7f0000001000})},
            {3, variant_t(std::uint64_t{64})},
            {4, variant_t(std::uint64_t{500})},
            {7, variant_t(1)}});
    result->finish();
    EXPECT_EQ(shell("SELECT * FROM jit_code"), "100|compute|0x7f0000001000|64|500||/boot/vmlinux");
}

TEST_F(Views, TimeOnACpuShowsItsThreadAndNoCpuWhereNoneIsKnown)
{
    result->finish();
    shell("INSERT INTO cpu_running_data_t(thread, start_tsc, end_tsc, bucket) "
          "VALUES(1, 10, 30, 6), (1, 40, 50, -1)");
    EXPECT_EQ(shell("SELECT * FROM cpu_running ORDER BY start_tsc"),
              "100|105|worker|6|10|30\n100|105|worker||40|50");
}

TEST_F(Views, ABandOfHardwareFeedbackShowsItsThreadAndClass)
{
    result->finish();
    shell(
        "INSERT INTO dd_hw_feedback_coretier_class(id, name) VALUES(1, 'Class_3'), (2, 'Invalid');"
        "INSERT INTO dd_hw_feedback(id, class, value) VALUES(5, 1, -7), (6, 2, 0);"
        "INSERT INTO hw_feedback_data(owner, start_tsc, end_tsc, attribute) "
        "VALUES(1, 10, 30, 5), (NULL, 31, 50, 6)");
    EXPECT_EQ(shell("SELECT * FROM core_classes ORDER BY start_tsc"),
              "100|105|worker|Class_3|-7|10|30\n|||Invalid|0|31|50");
}

TEST_F(Views, FramesCountFromTheLeaf)
{
    result->finish();
    EXPECT_EQ(shell("SELECT * FROM frames WHERE callsite = 2 ORDER BY depth"),
              "2|0|vmlinux|0x1234|||\n2|1||0xffffffff81000000|||");
    EXPECT_EQ(shell("SELECT count(*) FROM frames"), "3");
}

TEST_F(Views, ProcessesThreadsAndModulesShowWhatTheyAreCalled)
{
    result->finish();
    EXPECT_EQ(shell("SELECT process, pid, name, life, parent_pid FROM processes ORDER BY 1"),
              "1|100|work|0|\n2|101|child|0|100");
    EXPECT_EQ(shell("SELECT thread, pid, tid, name, process FROM threads"),
              "1|100|105|worker|work");
    EXPECT_EQ(shell("SELECT module, name, path, build_id FROM modules"),
              "1|vmlinux|/boot/vmlinux|abcd");
}

TEST_F(Views, QualityShowsTheCounts)
{
    addRow(*result, "dd_quality",
           {{0, variant_t("lost samples")},
            {1, variant_t(std::uint64_t{12})},
            {2, variant_t("record with a larger buffer")},
            {3, variant_t("data_loss")}});
    result->finish();
    EXPECT_EQ(shell("SELECT * FROM quality"),
              "lost samples|12|record with a larger buffer|data_loss");
}

TEST_F(Views, ColumnsAreThoseOfTheRegistry)
{
    result->finish();
    for (const schema::view_t& view : schema::views()) {
        std::string expected;
        for (const schema::column_t& column : view.columns)
            expected += (expected.empty() ? "" : "\n") + std::to_string(column.position) + "|" +
                        std::string(column.name);
        EXPECT_EQ(
            shell("SELECT cid, name FROM pragma_table_info('" + std::string(view.name) + "')"),
            expected)
            << view.name;
    }
}

TEST_F(Views, UncoreEventsAndCountsShowThePlacesThatAnEventStandsFor)
{
    addRow(*result, "dd_package", {{0, variant_t("package_0")}});
    addRow(*result, "dd_uncore_event_type", {{0, variant_t("UNC_IIO_X.PART2[UNIT3]")}});
    addRow(*result, "dd_event_type",
           {{0, variant_t("x")}, {5, variant_t(1)}, {6, variant_t(1)}}); // the third event
    addRow(*result, "dd_cpu", {{0, variant_t(9)}, {1, variant_t(1)}});   // the second CPU
    addRow(*result, "dd_io_traffic_source",
           {{0, variant_t("card")}, {2, variant_t("0000:3b:00.0")}});
    addRow(*result, "dd_io_traffic_source",
           {{0, variant_t("unit")}, {2, variant_t("0000:3b:00.1")}});
    addRow(*result, "dd_mesh_stop", {{0, variant_t(31)}, {1, variant_t(1)}});
    addRow(*result, "dd_io_unit_info",
           {{0, variant_t(3)}, {1, variant_t(1)}, {2, variant_t(1)}, {3, variant_t(2)}});
    addRow(*result, "dd_io_channel_info",
           {{0, variant_t(2)}, {1, variant_t(1)}, {2, variant_t(1)}, {3, variant_t(1)}});
    for (const int cpu : {2, -1}) {
        const auto record = result->instanceContainer()->createOrphanInstanceRecord();
        record->setKey(2, 3);
        record->setKey(3, cpu);
        record->setInteger(1, 500);
        record->setInteger(2, 1);
        record->insert(10);
    }
    addRow(*result, "dd_uncore_event_place",
           {{0, variant_t(1)},
            {1, variant_t(1)},
            {2, variant_t(1)},
            {3, variant_t(1)},
            {4, variant_t(1)}});
    result->finish();
    EXPECT_EQ(shell("SELECT * FROM uncore_events"),
              "UNC_IIO_X.PART2[UNIT3]|package_0|3|2|31||card|0000:3b:00.0|1");
    EXPECT_EQ(shell("SELECT * FROM uncore_counts ORDER BY cpu DESC"),
              "1|10|UNC_IIO_X.PART2[UNIT3]|package_0|9|500|3|2|31||card\n"
              "1|10|UNC_IIO_X.PART2[UNIT3]|||500|||||");
}

} // namespace
