#include "support/context_fixture.h"
#include "support/fake_jit_loader.h"

namespace samplefold_test {
namespace {

class JitSegmentInstance : public ContextTest {
protected:
    JitSegmentInstance()
    {
        context.setDb(db);
        db->table("dd_jit_file").firstKey = 10;
        db->table("dd_module_file").firstKey = 20;
        db->table("dd_module_file_attributes").firstKey = 30;
        db->table("dd_module_segment").firstKey = 40;
        db->table("dd_segment_instance").firstKey = 50;
        log->take();
    }

    Index frameIn(const char* name, std::int32_t kind = 0, std::int32_t classValue = 0)
    {
        return context.getJitSegmentInstance(Index(7),
                                             makeShared<FakeJitModule>(name, kind, classValue));
    }
    std::string shown(const char* table, std::int32_t key, std::uint16_t column)
    {
        return show(db->table(table).at(key, column));
    }
    std::size_t rowCount(const char* table) { return db->table(table).rows.size(); }
};

TEST_F(JitSegmentInstance, TheFirstFrameOfTheFirstModuleWritesARowOfEachTableInOrder)
{
    EXPECT_EQ(Index(50), frameIn("/data/jit-12.dump", 0, 1));
    EXPECT_EQ((lines_t{
                  "dd_jit_file.createOrphanRecord",
                  "dd_jit_file[0]=text:",
                  "dd_jit_file[1]=text:",
                  "dd_jit_file[4]=s32:1",
                  "dd_jit_file.commit(0,0)->10",
                  "dd_module_file.createOrphanRecord",
                  "dd_module_file[0]=text:jit-12.dump",
                  "dd_module_file[1]=text:/data/jit-12.dump",
                  "dd_module_file[6]=s32:1",
                  "db.getAttributeTable dd_module_file_attributes",
                  "dd_module_file_attributes.createOrphanRecord",
                  "dd_module_file_attributes[1]=s32:1",
                  "dd_module_file_attributes[2]=s32:1",
                  "dd_module_file_attributes.commit(0,0)->30",
                  "dd_module_file[12]=s32:30",
                  "dd_module_file.commit(0,0)->20",
                  "dd_module_segment.createOrphanRecord",
                  "dd_module_segment[0]=s32:20",
                  "dd_module_segment[1]=s32:3",
                  "dd_module_segment[2]=s32:0",
                  "dd_module_segment[3]=s32:0",
                  "dd_module_segment[4]=s32:0",
                  "dd_module_segment[5]=s32:10",
                  "dd_module_segment.commit(0,0)->40",
                  "dd_segment_instance.createOrphanRecord",
                  "dd_segment_instance[0]=s32:40",
                  "dd_segment_instance[2]=s32:7",
                  "dd_segment_instance[1]=u64:0",
                  "dd_segment_instance[3]=null",
                  "dd_segment_instance.commit(0,0)->50",
              }),
              log->take());
    EXPECT_EQ((std::map<std::int32_t, std::int32_t>{{50, 40}}), context.m_segInstToModuleSegment);
}

TEST_F(JitSegmentInstance, TwoFramesOfOneModuleShareTheFileRowButNoSegmentRow)
{
    EXPECT_EQ(Index(50), frameIn("module"));
    EXPECT_EQ(Index(51), frameIn("module"));
    EXPECT_EQ(1u, rowCount("dd_jit_file"));
    EXPECT_EQ(1u, rowCount("dd_module_file"));
    EXPECT_EQ(1u, rowCount("dd_module_file_attributes"));
    EXPECT_EQ(2u, rowCount("dd_module_segment"));
    EXPECT_EQ(2u, rowCount("dd_segment_instance"));
    for (const std::int32_t segment : {40, 41}) {
        EXPECT_EQ("s32:20", shown("dd_module_segment", segment, 0));
        EXPECT_EQ("s32:10", shown("dd_module_segment", segment, 5));
    }
    EXPECT_EQ("s32:40", shown("dd_segment_instance", 50, 0));
    EXPECT_EQ("s32:41", shown("dd_segment_instance", 51, 0));
}

TEST_F(JitSegmentInstance, TwoModulesOfDifferentKindsShareTheJitFileRowOfTheFirst)
{
    frameIn("first", 2);
    frameIn("second", 5);
    ASSERT_EQ(1u, rowCount("dd_jit_file"));
    EXPECT_EQ("s32:3", shown("dd_jit_file", 10, 4));
    ASSERT_EQ(2u, rowCount("dd_module_file"));
    EXPECT_EQ("s32:3", shown("dd_module_file", 20, 6));
    EXPECT_EQ("s32:12", shown("dd_module_file", 21, 6));
    EXPECT_EQ("s32:20", shown("dd_module_segment", 40, 0));
    EXPECT_EQ("s32:21", shown("dd_module_segment", 41, 0));
    EXPECT_EQ("s32:10", shown("dd_module_segment", 41, 5));
}

TEST_F(JitSegmentInstance, EveryKindOfModuleHasItsNumber)
{
    const std::map<std::int32_t, std::string> numbers{
        {0, "s32:1"},  {1, "s32:2"},  {2, "s32:3"},  {3, "s32:4"},           {4, "s32:-1"},
        {5, "s32:12"}, {6, "s32:-1"}, {7, "s32:-1"}, {0x7FFFFFFF, "s32:-1"}, {-1, "s32:-1"}};
    std::int32_t file = 20;
    for (const auto& [kind, number] : numbers) {
        frameIn(("module of kind " + std::to_string(kind)).c_str(), kind);
        EXPECT_EQ(number, shown("dd_module_file", file++, 6)) << kind;
    }
}

TEST_F(JitSegmentInstance, AFirstModuleOfNoKnownKindLeavesThatInTheJitFileRow)
{
    frameIn("module", 4);
    EXPECT_EQ("s32:-1", shown("dd_jit_file", 10, 4));
    EXPECT_EQ("s32:-1", shown("dd_module_file", 20, 6));
}

TEST_F(JitSegmentInstance, OnlyAClassOfZeroIsNoClass)
{
    const std::map<std::int32_t, std::string> numbers{
        {0, "s32:0"}, {1, "s32:1"}, {9, "s32:1"}, {-1, "s32:1"}, {0x10000, "s32:1"}};
    std::int32_t row = 30;
    for (const auto& [classValue, number] : numbers) {
        frameIn(std::to_string(classValue).c_str(), 0, classValue);
        EXPECT_EQ(number, shown("dd_module_file_attributes", row, 1)) << classValue;
        EXPECT_EQ("s32:1", shown("dd_module_file_attributes", row++, 2));
    }
}

TEST_F(JitSegmentInstance, TheNameIsWhatStandsBehindTheLastSlash)
{
    const std::vector<std::pair<const char*, std::string>> names{
        {"plain", "text:plain"}, {"/a/b.c/d e", "text:d e"}, {"ends/", "text:"}, {"", "text:"}};
    std::int32_t file = 20;
    for (const auto& [name, leaf] : names) {
        frameIn(name);
        EXPECT_EQ(leaf, shown("dd_module_file", file, 0));
        EXPECT_EQ("text:" + std::string(name), shown("dd_module_file", file++, 1));
    }
}

TEST_F(JitSegmentInstance, AFileRowThatWasRefusedIsReportedByLaterFramesWhichGoOn)
{
    db->table("dd_jit_file").refusedCommits = {1};
    db->table("dd_module_file").refusedCommits = {1};
    EXPECT_EQ(Index(50), frameIn("module"));
    EXPECT_EQ(lines_t{}, assertions.take());
    EXPECT_EQ(Index(51), frameIn("module"));
    EXPECT_EQ((lines_t{"jitFileKey.exist()", "modFileKey.exist()"}), assertions.take());
    EXPECT_EQ(0u, rowCount("dd_module_file")) << "nobody tries again";
    EXPECT_EQ("null", shown("dd_module_segment", 41, 0));
    EXPECT_EQ("null", shown("dd_module_segment", 41, 5));
}

TEST_F(JitSegmentInstance, WithoutATableForTheAttributesTheFileRowHasNone)
{
    db->missingTables = {"dd_module_file_attributes"};
    EXPECT_EQ(Index(50), frameIn("module"));
    const lines_t fired = assertions.take();
    ASSERT_FALSE(fired.empty());
    EXPECT_EQ("!row.isNull()", fired.front());
    EXPECT_EQ("null", shown("dd_module_file", 20, 12));
    EXPECT_EQ("s32:20", shown("dd_module_segment", 40, 0));
}

TEST_F(JitSegmentInstance, ARefusedSegmentRowLeavesAnInstanceWithoutOne)
{
    db->table("dd_module_segment").refusedCommits = {1};
    EXPECT_EQ(Index(50), frameIn("module"));
    EXPECT_EQ("null", shown("dd_segment_instance", 50, 0));
    EXPECT_EQ(-1, context.m_segInstToModuleSegment.at(50));
}

} // namespace
} // namespace samplefold_test
