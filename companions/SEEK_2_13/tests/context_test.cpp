#include "seek_fixture.h"

#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include <filesystem>

namespace {

using SEEK_2_13::binaryFileKind;
using SEEK_2_13::context_data_t;
using SEEK_2_13::IEnvironmentInfo;
using SEEK_2_13::IFileSearch;
using SEEK_2_13::IResolutionContextMgr;
using SEEK_2_13::machine_places_t;
using SEEK_2_13::ObjectPtr;
using SEEK_2_13::sourceFileKind;
using SEEK_2_13::symbolFileKind;
using seek_test::put;
using seek_test::SampleElf;
using seek_test::SeekTest;

class ContextTest : public SeekTest {
protected:
    /// Data read back by a context opened anew.
    context_data_t readBack() const
    {
        return IResolutionContextMgr::create()->openContext(result.c_str())->getData();
    }
    /// What opening says when it refuses the file with this text.
    std::string faultOf(const std::string& text) const
    {
        put(result + "/search.json", text);
        std::string fault;
        EXPECT_FALSE(manager->openContext(result.c_str(), &fault)) << text;
        return fault;
    }
    /// What recording says when it refuses `data`.
    std::string recordingFault() const
    {
        std::string fault = "recorded";
        const auto context = manager->openContext(result.c_str());
        context->record(data, &fault);
        return fault;
    }
};

TEST_F(ContextTest, everyFieldSurvivesReopening)
{
    data.buildIds = {{"/usr/bin/a", "0123456789ABCDEF"}, {"b\xff\n\"", "01"}};
    data.directories = {{binaryFileKind, "/one", true, 3}, {symbolFileKind, "/tw\xfe o", false, 0}};
    data.substitutions = {{"/from", "/to"}, {"x\xff", ""}};
    data.places = {"/r", "/c", "/b", "/k", "/n", "6.1"};
    data.networkAllowed = true;
    record();
    const context_data_t back = readBack();
    EXPECT_EQ(back.buildIds,
              (decltype(back.buildIds){{"/usr/bin/a", "0123456789abcdef"}, {"b\xff\n\"", "01"}}));
    ASSERT_EQ(back.directories.size(), 2U);
    EXPECT_EQ(back.directories[0].kind, binaryFileKind);
    EXPECT_EQ(back.directories[0].path, "/one");
    EXPECT_TRUE(back.directories[0].below);
    EXPECT_EQ(back.directories[0].order, 3U);
    EXPECT_EQ(back.directories[1].kind, symbolFileKind);
    EXPECT_EQ(back.directories[1].path, "/tw\xfe o");
    EXPECT_FALSE(back.directories[1].below);
    EXPECT_EQ(back.directories[1].order, 0U);
    ASSERT_EQ(back.substitutions.size(), 2U);
    EXPECT_EQ(back.substitutions[0].from, "/from");
    EXPECT_EQ(back.substitutions[0].to, "/to");
    EXPECT_EQ(back.substitutions[1].from, "x\xff");
    EXPECT_EQ(back.substitutions[1].to, "");
    EXPECT_EQ(back.places.debugRoot, "/r");
    EXPECT_EQ(back.places.buildIdCache, "/c");
    EXPECT_EQ(back.places.bootFolder, "/b");
    EXPECT_EQ(back.places.kernelCore, "/k");
    EXPECT_EQ(back.places.kernelNotes, "/n");
    EXPECT_EQ(back.places.kernelRelease, "6.1");
    EXPECT_TRUE(back.networkAllowed);
}

TEST_F(ContextTest, theFileIsJsonThatOthersCanRead)
{
    expectId(SampleElf::rightId);
    record();
    const auto json = nlohmann::json::parse(seek_test::bytesOf(result + "/search.json"));
    EXPECT_EQ(json["build_ids"][0]["module"], module);
    EXPECT_EQ(json["build_ids"][0]["build_id"], SampleElf::rightId);
    EXPECT_EQ(json["network"], false);
}

TEST_F(ContextTest, relativeDirectoriesAreRecordedAsAbsolute)
{
    addDir(binaryFileKind, "sub/dir/");
    data.substitutions.push_back({"/a", "b"});
    record();
    const std::string current = std::filesystem::current_path().native();
    EXPECT_EQ(readBack().directories[0].path, current + "/sub/dir");
    EXPECT_EQ(readBack().substitutions[0].to, current + "/b");
}

TEST_F(ContextTest, aDirectoryWithoutAFileHasNoData)
{
    const auto context = manager->openContext(result.c_str());
    ASSERT_TRUE(context);
    EXPECT_TRUE(context->getData().buildIds.empty());
    EXPECT_FALSE(context->getData().networkAllowed);
    EXPECT_FALSE(std::filesystem::exists(result + "/search.json"));
    EXPECT_EQ(context->getDirectory(), result);
}

TEST_F(ContextTest, recordingCountsForSearchesOfTheSameContext)
{
    put(at("dir/tool"), "tool");
    const auto context = manager->openContext(result.c_str());
    const ObjectPtr<IFileSearch> searching = manager->createFileSearch(context, "client", {});
    EXPECT_EQ(findBy(*searching, "tool"), "");
    addDir(binaryFileKind, at("dir"));
    ASSERT_TRUE(context->record(data));
    EXPECT_EQ(findBy(*searching, "tool"), at("dir/tool"));
}

TEST_F(ContextTest, dataWithoutSenseIsNotRecorded)
{
    record();
    const std::string before = seek_test::bytesOf(result + "/search.json");
    for (const char* id : {"", "0", "xy", "../../etc", "0000000000000000"}) {
        data.buildIds = {{"tool", id}};
        EXPECT_NE(recordingFault().find("tool"), std::string::npos) << id;
    }
    data.buildIds = {{"tool", std::string(130, 'a')}};
    EXPECT_NE(recordingFault(), "recorded");
    data.buildIds.clear();
    data.directories = {{binaryFileKind, "", false, 0}};
    EXPECT_NE(recordingFault(), "recorded");
    data.directories = {{sourceFileKind, "/x", false, 0}};
    EXPECT_NE(recordingFault(), "recorded");
    data.directories.clear();
    data.substitutions = {{"", "/x"}};
    EXPECT_NE(recordingFault(), "recorded");
    EXPECT_EQ(seek_test::bytesOf(result + "/search.json"), before);
    data.substitutions.clear();
    EXPECT_EQ(recordingFault(), "recorded");
}

TEST_F(ContextTest, whatCannotBeWrittenIsToldAndLeavesNothingBehind)
{
    const auto missing = manager->openContext(at("missing").c_str());
    std::string fault;
    EXPECT_FALSE(missing->record(data, &fault));
    EXPECT_NE(fault.find(at("missing") + "/search.json"), std::string::npos);
    std::filesystem::create_directory(result + "/search.json.d");
    std::filesystem::create_directory(at("second"));
    const auto blocked = manager->openContext(at("second").c_str());
    std::filesystem::create_directories(at("second/search.json/x"));
    EXPECT_FALSE(blocked->record(data, &fault));
    const auto left = std::filesystem::directory_iterator(at("second"));
    EXPECT_EQ(std::distance(begin(left), end(left)), 1);
}

TEST_F(ContextTest, aDamagedFileGivesNoContext)
{
    record();
    const std::string good = seek_test::bytesOf(result + "/search.json");
    for (std::size_t size = 0; size < good.size() - 2; size += 7)
        EXPECT_NE(faultOf(good.substr(0, size)).find("search.json: "), std::string::npos);
    const auto dataOf = [](const char* ids, const char* directories, const char* rules) {
        return std::string(R"({"format":1,"places":{},"network":false,"build_ids":)") + ids +
               ",\"directories\":" + directories + ",\"substitutions\":" + rules + "}";
    };
    const std::string others[] = {
        "[]",
        "null",
        "{\"format\": 2}",
        std::string(100000, '['),
        dataOf(R"([{"module":"a","build_id":"../x"}])", "[]", "[]"),
        dataOf("[]", R"([{"kind":"other","path":"/a","below":false,"order":0}])", "[]"),
        dataOf("[]", "[]", R"([{"from":{"hex":"4"},"to":"b"}])"),
        dataOf("[]", "[]", R"([{"from":"a\u0000b","to":"b"}])")};
    put(result + "/search.json", dataOf("[]", "[]", "[]"));
    EXPECT_TRUE(manager->openContext(result.c_str())); // so that the others fail for their part
    for (const std::string& text : others)
        EXPECT_EQ(faultOf(text).find('\n'), std::string::npos);
    put(result + "/search.json", good);
    EXPECT_TRUE(manager->openContext(result.c_str()));
}

TEST_F(ContextTest, aFileThatIsNoRegularFileGivesNoContextAndDoesNotHang)
{
    ASSERT_EQ(::mkfifo((result + "/search.json").c_str(), 0600), 0);
    EXPECT_FALSE(manager->openContext(result.c_str()));
}

TEST_F(ContextTest, whatIsNoDirectoryGivesNoContext)
{
    const std::string file = put(at("file"), "x");
    EXPECT_FALSE(manager->openContext(nullptr));
    EXPECT_FALSE(manager->openContext(""));
    EXPECT_FALSE(manager->openContext(file.c_str()));
    EXPECT_TRUE(manager->openContext(at("missing").c_str()));
    EXPECT_TRUE(manager->openChildContext(at("missing").c_str(), true));
    EXPECT_FALSE(manager->openChildContext(at("missing").c_str(), false));
}

TEST_F(ContextTest, linksCloseNoCircle)
{
    const auto a = manager->openContext(at("a").c_str());
    const auto b = manager->openContext(at("b").c_str());
    const auto c = manager->openContext(at("c").c_str());
    EXPECT_FALSE(manager->linkContexts(a, a));
    EXPECT_TRUE(manager->linkContexts(b, a));
    EXPECT_TRUE(manager->linkContexts(c, b));
    EXPECT_FALSE(manager->linkContexts(a, c));
    EXPECT_FALSE(manager->linkContexts(a, {}));
    EXPECT_FALSE(manager->linkContexts({}, a));
}

TEST_F(ContextTest, aChildUsesTheParentsArchiveAndIds)
{
    expectId(SampleElf::rightId);
    record();
    put(result + "/archive/tool.so", SampleElf::withId(SampleElf::rightId));
    put(module, SampleElf::withId(SampleElf::wrongId));
    const auto parent = manager->openContext(result.c_str());
    const auto child = manager->openChildContext((result + "/rwtap.rw.api").c_str(), true);
    ASSERT_TRUE(manager->linkContexts(child, parent));
    EXPECT_EQ(findBy(*manager->createFileSearch(child, "client", {}), module),
              result + "/archive/tool.so");
}

TEST_F(ContextTest, theEnvironmentGoesBeforeTheData)
{
    expectId(SampleElf::rightId);
    const std::string link = "/.build-id/01/" + std::string(SampleElf::rightId.substr(2));
    const std::string image = SampleElf::withId(SampleElf::rightId);
    put(at("debug") + link, image);
    put(at("other") + link, image);
    record();
    const auto context = manager->openContext(result.c_str());
    machine_places_t places;
    places.debugRoot = at("other");
    const auto given =
        manager->createFileSearch(context, "client", IEnvironmentInfo::create(places));
    EXPECT_EQ(findBy(*given, module), at("other") + link);
    EXPECT_EQ(findBy(*manager->createFileSearch(context, "client", {}), module),
              at("debug") + link);
}

TEST_F(ContextTest, aSearchNeedsAContextAndAClient)
{
    const auto context = manager->openContext(result.c_str());
    EXPECT_FALSE(manager->createFileSearch({}, "client", {}));
    EXPECT_FALSE(manager->createFileSearch(context, "", {}));
    EXPECT_FALSE(manager->createFileSearch(context, nullptr, {}));
    EXPECT_FALSE(manager->bindSearchDirs({}, {}, "label"));
    EXPECT_FALSE(manager->bindSearchDirs(context, {}, nullptr));
}

} // namespace
