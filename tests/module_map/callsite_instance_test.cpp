#include "module_map/callsite_fixture.h"
#include "support/native_image_file.h"
#include "support/stored_rows_table.h"
#include "support/temporary_folder.h"

namespace samplefold_test {
namespace {

constexpr std::uint64_t g_top = ~std::uint64_t{0};

class CallsiteInstance : public CallsiteTest {};

TEST_F(CallsiteInstance, AFrameInAKnownSegmentWritesItsTwoRowsColumnByColumnInOrder)
{
    frame_t frame{.segInst = addSegment(), .parent = Index(9), .markFrame = true};
    EXPECT_EQ(Index(300), frame.createIn(context));
    EXPECT_EQ(Index(100), frame.segInst);
    EXPECT_EQ((lines_t{"dd_code_location[0]=u64:4676", "dd_code_location[14]=u64:4676",
                       "dd_code_location[1]=s32:3", "dd_code_location.commit(0,0)->200",
                       "dd_callsite[1]=s32:200", "dd_callsite[5]=s32:3", "dd_callsite[0]=s32:9",
                       "dd_callsite.commit(0,0)->300"}),
              log->take());
}

TEST_F(CallsiteInstance, ColumnsThatAreNotWrittenKeepWhatTheReusedRecordsHold)
{
    context.m_codeLocationRecord[7] = tb2::variant_t("kept");
    context.m_callsiteRecord[8] = tb2::variant_t("kept");
    for (const std::int32_t number : {0, 1}) {
        frame_t frame;
        frame.createIn(context);
        EXPECT_EQ("text:kept", shown("dd_code_location", 200 + number, 7));
        EXPECT_EQ("text:kept", shown("dd_callsite", 300 + number, 8));
    }
}

TEST_F(CallsiteInstance, NothingOfAFrameStaysInTheRowsOfTheNext)
{
    frame_t first{.segInst = addSegment(), .parent = Index(9), .markFrame = true};
    first.createIn(context);
    frame_t second{.ip = 5};
    second.createIn(context);
    EXPECT_EQ("u64:5", shown("dd_code_location", 201, 0));
    EXPECT_EQ("u64:5", shown("dd_code_location", 201, 14));
    EXPECT_EQ("s32:-1", shown("dd_code_location", 201, 1));
    EXPECT_EQ("s32:0", shown("dd_callsite", 301, 5));
    EXPECT_EQ("null", shown("dd_callsite", 301, 0));
}

TEST_F(CallsiteInstance, FourAddressesOutsideEverySegmentAreNumbersAndNeverAskedAbout)
{
    knowProcess();
    loader->answer = 0;
    const std::vector<std::uint64_t> addresses{0, g_top, g_top - 1, g_top - 2};
    for (std::int32_t number = 0; number < 4; ++number) {
        frame_t frame{.ip = addresses[static_cast<std::size_t>(number)]};
        frame.createIn(context);
        EXPECT_EQ(Index(100 + number), frame.segInst) << "each has a placeholder of its own";
        EXPECT_EQ("u64:" + std::to_string(number), shown("dd_code_location", 200 + number, 0));
    }
    EXPECT_TRUE(loader->questions.empty());
}

TEST_F(CallsiteInstance, TheAddressesBesideThoseFourAreOrdinary)
{
    knowProcess();
    for (const std::uint64_t ip : {std::uint64_t{1}, g_top - 3}) {
        code_location_t location;
        frame_t frame{.ip = ip, .location = &location};
        frame.createIn(context);
        EXPECT_EQ(ip, location.rva);
    }
    EXPECT_EQ(2u, loader->questions.size());
}

TEST_F(CallsiteInstance, InAMappingOfAFileNobodyIsAsked)
{
    knowProcess();
    loader->answer = 0;
    frame_t frame{.segInst = addSegment(), .type = segment_type_t::file};
    frame.createIn(context);
    EXPECT_EQ(Index(100), frame.segInst);
    EXPECT_EQ("u64:4676", shown("dd_code_location", 200, 0));
    EXPECT_TRUE(loader->questions.empty());
}

TEST_F(CallsiteInstance, InANativeImageNobodyIsAskedButInAnyOtherModuleTheLoaderIs)
{
    const TemporaryFolder files;
    knowProcess();
    const auto questionsIn = [&](const std::string& path) {
        code_location_t location;
        frame_t frame{.segInst = addSegment(),
                      .modulePath = path,
                      .location = &location,
                      .type = segment_type_t::moduleOrJit};
        loader->questions.clear();
        frame.createIn(context);
        return loader->questions.size();
    };
    EXPECT_EQ(0u, questionsIn(files.addFile("image.so", nativeImageBytes())));
    EXPECT_EQ(1u, questionsIn(files.addFile("image.dll", "MZ and so on, no native image here")));
    EXPECT_EQ(1u, questionsIn(files.path("missing")));
    EXPECT_EQ(1u, questionsIn(""));
}

TEST_F(CallsiteInstance, WithoutATimeTheFrameStaysInItsSegment)
{
    knowProcess();
    loader->answer = 0;
    frame_t frame{.segInst = addSegment(), .jitTime = 0, .type = segment_type_t::noFile};
    frame.createIn(context);
    EXPECT_EQ(Index(100), frame.segInst);
    EXPECT_EQ("u64:4676", shown("dd_code_location", 200, 0));
    EXPECT_TRUE(loader->questions.empty());
}

TEST_F(CallsiteInstance, TheLoaderIsAskedWithTimeAddressProcessAndStatus)
{
    knowProcess();
    frame_t frame{.jitTime = 99, .ip = 0xFFFFFFFF80001000};
    frame.createIn(context);
    EXPECT_EQ((std::vector<FakeJitLoader::question_t>{{99, 0xFFFFFFFF80001000, 42, 77}}),
              loader->questions);
}

TEST_F(CallsiteInstance, AnAddressThatIsNotJitCodeTakesTheFrameOutOfItsSegment)
{
    knowProcess();
    frame_t frame{.segInst = addSegment()};
    frame.createIn(context);
    EXPECT_EQ(Index(101), frame.segInst);
    EXPECT_EQ("null", shown("dd_segment_instance", 101, 0));
    EXPECT_EQ("u64:4198964", shown("dd_code_location", 200, 0)) << "the whole address";
    EXPECT_EQ("s32:-1", shown("dd_code_location", 200, 1));
}

TEST_F(CallsiteInstance, ThePlaceholderBehindAJitFrameStaysAndNothingRefersToIt)
{
    knowProcess();
    loader->answer = 0;
    frame_t frame;
    frame.createIn(context);
    EXPECT_EQ(Index(101), frame.segInst);
    ASSERT_EQ(2u, rowCount("dd_segment_instance"));
    EXPECT_EQ("null", shown("dd_segment_instance", 100, 0));
    EXPECT_EQ("s32:400", shown("dd_segment_instance", 101, 0));
    EXPECT_EQ("s32:400", shown("dd_code_location", 200, 1));
    EXPECT_EQ("u64:11259375", shown("dd_code_location", 200, 0)) << "the loader's";
}

TEST_F(CallsiteInstance, WithRelativeAddressesOffOnlyTheIntegerZeroIsStored)
{
    context.m_storeRva = false;
    frame_t frame{.segInst = addSegment()};
    frame.createIn(context);
    EXPECT_EQ("s32:0", shown("dd_code_location", 200, 0));
    EXPECT_EQ("s32:0", shown("dd_code_location", 200, 14));
    EXPECT_EQ("s32:3", shown("dd_code_location", 200, 1));

    code_location_t location;
    location.rva = 55;
    frame_t located{.segInst = Index(100), .location = &location};
    located.createIn(context);
    EXPECT_EQ(0u, location.rva);
    EXPECT_EQ(Index(3), location.mod_seg);
}

TEST_F(CallsiteInstance, WithoutLinksAnExistingParentIsNotStored)
{
    context.m_linkCallsiteParents = false;
    frame_t frame{.parent = Index(9)};
    frame.createIn(context);
    EXPECT_EQ("null", shown("dd_callsite", 300, 0));
}

TEST_F(CallsiteInstance, ALocationTakesTheResultAndNoRowOfTheFrameIsWritten)
{
    Index home(5);
    code_location_t location;
    location.callsite_key = &home;
    frame_t frame{.segInst = addSegment(), .location = &location};
    EXPECT_EQ(Index(-1), frame.createIn(context));
    EXPECT_EQ(Index(3), location.mod_seg);
    EXPECT_EQ(0x1244u, location.rva);
    EXPECT_EQ(&home, location.callsite_key);
    EXPECT_EQ(lines_t{}, log->take());
}

TEST_F(CallsiteInstance, ARelativeAddressWrapsAroundLikeTheAddressesDo)
{
    code_location_t location;
    frame_t frame{.segInst = addSegment(),
                  .ip = 0x1000,
                  .segmentStart = 0x3000,
                  .segmentRva = 0x500,
                  .location = &location};
    frame.createIn(context);
    EXPECT_EQ(0xFFFFFFFFFFFFE500, location.rva);
}

TEST_F(CallsiteInstance, AnInstanceOfAnEarlierLoadIsReadFromTheStoreOnce)
{
    const auto stored = tb2::make_counted<StoredRowsTable>("dd_segment_instance", log);
    stored->rows = {{61, {{0, tb2::variant_t(std::int64_t{33})}}}, {62, {}}};
    context.m_segmentInstanceTable = stored;
    for (int time = 0; time < 2; ++time) {
        code_location_t location;
        frame_t{.segInst = Index(61), .location = &location}.createIn(context);
        EXPECT_EQ(Index(33), location.mod_seg);
        frame_t{.segInst = Index(62), .location = &location}.createIn(context);
        EXPECT_EQ(Index(-1), location.mod_seg);
    }
    EXPECT_EQ(2, stored->readings) << "a missing module segment is remembered as well";
    EXPECT_EQ((std::map<std::int32_t, std::int32_t>{{61, 33}, {62, -1}}),
              context.m_segInstToModuleSegment);
}

TEST_F(CallsiteInstance, WithoutAProcessTheFrameIsReportedAndWritten)
{
    frame_t frame{.process = Index()};
    EXPECT_EQ(Index(300), frame.createIn(context));
    EXPECT_EQ(lines_t{"processKey.exist()"}, assertions.take());
    EXPECT_EQ("s32:-1", shown("dd_segment_instance", 100, 2));
}

TEST_F(CallsiteInstance, ARefusedPlaceholderIsReportedAndTheFrameIsWritten)
{
    db->table("dd_segment_instance").refusedCommits = {1};
    frame_t frame;
    EXPECT_EQ(Index(300), frame.createIn(context));
    EXPECT_EQ(lines_t{"segInstKey.exist()"}, assertions.take());
    EXPECT_EQ(Index(-1), frame.segInst);
    EXPECT_EQ("s32:-1", shown("dd_code_location", 200, 1));
}

TEST_F(CallsiteInstance, RefusedRowsOfTheFrameAreReported)
{
    db->table("dd_code_location").refusedCommits = {2};
    db->table("dd_callsite").refusedCommits = {2};
    frame_t first;
    first.createIn(context);
    frame_t second;
    EXPECT_EQ(Index(-1), second.createIn(context));
    EXPECT_EQ((lines_t{"codeLocKey.exist()", "csKey.exist()"}), assertions.take());
    frame_t third;
    EXPECT_EQ(Index(301), third.createIn(context)) << "a later frame is written again";
}

TEST_F(CallsiteInstance, AnErrorOfTheLoaderGoesToTheReporterAndTheFrameStays)
{
    knowProcess();
    loader->answer = 2;
    frame_t frame{.segInst = addSegment()};
    frame.createIn(context);
    EXPECT_EQ(
        (std::vector<std::pair<std::string, std::int32_t>>{{"generated code cannot be read", 0}}),
        reporter->reports);
    EXPECT_EQ(Index(100), frame.segInst);
    EXPECT_EQ("u64:4676", shown("dd_code_location", 200, 0));
}

TEST_F(CallsiteInstance, AMissingReporterIsReportedWhenItIsNeededAndTheFrameIsWritten)
{
    knowProcess();
    context.m_errorReporter.reset();
    for (const std::uint32_t answer : {0u, 4u}) {
        loader->answer = answer;
        frame_t frame;
        frame.createIn(context);
        EXPECT_EQ(lines_t{}, assertions.take());
    }
    loader->answer = 1;
    frame_t frame;
    EXPECT_TRUE(frame.createIn(context).exist());
    EXPECT_EQ(lines_t{"m_errorReporter"}, assertions.take());
    frame_t inSegment{.segInst = addSegment()};
    EXPECT_TRUE(inSegment.createIn(context).exist());
    EXPECT_EQ(lines_t{"m_errorReporter"}, assertions.take());
}

} // namespace
} // namespace samplefold_test
