// Added directories: ranks, subdirectories, live containers.

#include "command_output.h"
#include "seek_fixture.h"

#include <filesystem>

namespace {

using SEEK_2_13::attempt_t;
using SEEK_2_13::binaryFileKind;
using SEEK_2_13::file_kind_t;
using SEEK_2_13::IEditableSearchDirContainer;
using SEEK_2_13::IEditableSearchEnv;
using SEEK_2_13::IErrorInfoContainer;
using SEEK_2_13::IFileSearch;
using SEEK_2_13::IFileValidator;
using SEEK_2_13::ISearchDirContainer;
using SEEK_2_13::ObjectPtr;
using SEEK_2_13::refusal_t;
using SEEK_2_13::search_dir_t;
using SEEK_2_13::sourceFileKind;
using SEEK_2_13::symbolFileKind;
using SEEK_2_13::validation_result_t;
namespace search_flag = SEEK_2_13::search_flag;
using seek_test::put;
using seek_test::SeekTest;

namespace fs = std::filesystem;

class Directories : public SeekTest {
protected:
    ObjectPtr<IFileSearch> searchIn(const ObjectPtr<ISearchDirContainer>& container) const
    {
        const ObjectPtr<IEditableSearchEnv> env = IEditableSearchEnv::create();
        env->setSearchDirs(container);
        return IFileSearch::create(env);
    }
    bool add(const std::string& path, bool below = false, std::uint32_t order = 0,
             file_kind_t kind = binaryFileKind) const
    {
        return dirs->addSearchDir(kind, path.c_str(), below, order == 0, order);
    }
    std::vector<std::string> listed(file_kind_t kind = binaryFileKind) const
    {
        std::vector<std::string> paths;
        for (const search_dir_t& dir : dirs->getSearchDirs(kind))
            paths.push_back(dir.path);
        return paths;
    }

    ObjectPtr<IEditableSearchDirContainer> dirs = IEditableSearchDirContainer::create();
};

TEST_F(Directories, ranksComeFirstThenTheOrderOfAdding)
{
    add("/a");
    add("/second", false, 2);
    add("/b");
    add("/last", false, 4294967295U);
    add("/first", false, 1);
    add("/second too", false, 2);
    dirs->addSearchDir(binaryFileKind, "/c", false, true, 1);
    EXPECT_EQ(listed(), (std::vector<std::string>{"/first", "/second", "/second too", "/last", "/a",
                                                  "/b", "/c"}));
}

TEST_F(Directories, addingAgainGivesANewPlace)
{
    add("/a");
    add("/b");
    add("/b/", false, 1);
    EXPECT_EQ(listed(), (std::vector<std::string>{"/b", "/a"}));
    add("/b");
    EXPECT_EQ(listed(), (std::vector<std::string>{"/a", "/b"}));
}

TEST_F(Directories, kindsAreApart)
{
    add("/a");
    add("/a", false, 0, symbolFileKind);
    add("/s", false, 0, symbolFileKind);
    EXPECT_EQ(listed(), std::vector<std::string>{"/a"});
    EXPECT_EQ(listed(symbolFileKind), (std::vector<std::string>{"/a", "/s"}));
}

TEST_F(Directories, withoutAPathOrOfAnotherKindAreNotAdded)
{
    EXPECT_FALSE(add(""));
    EXPECT_FALSE(dirs->addSearchDir(binaryFileKind, nullptr, false, true, 0));
    EXPECT_FALSE(add("/x", false, 0, sourceFileKind));
    EXPECT_FALSE(add("/x", false, 0, 0));
    EXPECT_TRUE(add("/x"));
    EXPECT_EQ(listed(), std::vector<std::string>{"/x"});
}

TEST_F(Directories, addedLaterAreSeenByAnEarlierSearch)
{
    const ObjectPtr<IFileSearch> searching = searchIn(dirs);
    put(at("dir/tool"), "tool");
    EXPECT_EQ(findBy(*searching, "tool"), "");
    add(at("dir"));
    EXPECT_EQ(findBy(*searching, "tool"), at("dir/tool"));
}

TEST_F(Directories, boundToALinkedContextCountWithTheParentsData)
{
    put(at("bound/tool"), "tool");
    put(at("recorded/tool"), "tool");
    addDir(binaryFileKind, at("recorded"));
    record();
    const auto parent = manager->openContext(result.c_str());
    const auto child = manager->openChildContext((result + "/part").c_str(), true);
    ASSERT_TRUE(manager->linkContexts(child, parent));
    ASSERT_TRUE(manager->bindSearchDirs(child, dirs, "label"));
    const ObjectPtr<IFileSearch> searching = manager->createFileSearch(child, "client", {});
    EXPECT_EQ(findBy(*searching, "tool"), at("recorded/tool"));
    add(at("bound"));
    EXPECT_EQ(findBy(*searching, "tool"), at("bound/tool"));
    ASSERT_TRUE(manager->bindSearchDirs(child, {}, "label"));
    EXPECT_EQ(findBy(*searching, "tool"), at("recorded/tool"));
}

TEST_F(Directories, ranksCountOverAllSources)
{
    put(at("bound/tool"), "tool");
    put(at("recorded/tool"), "tool");
    addDir(binaryFileKind, at("recorded"), false, 1);
    record();
    const auto context = manager->openContext(result.c_str());
    add(at("bound"), false, 2);
    manager->bindSearchDirs(context, dirs, "label");
    EXPECT_EQ(findBy(*manager->createFileSearch(context, "client", {}), "tool"),
              at("recorded/tool"));
}

TEST_F(Directories, aSearchWithoutAResultUsesNothingElse)
{
    put(module, "tool");
    EXPECT_EQ(findBy(*searchIn(dirs), module), "");
    EXPECT_EQ(findBy(*searchIn(dirs), "/usr/bin/ls"), "");
    EXPECT_EQ(findBy(*searchIn(dirs), "kcore", nullptr, search_flag::kernelImage), "");
    EXPECT_EQ(findBy(*searchIn({}), "tool"), "");
    EXPECT_FALSE(IFileSearch::create({}));
}

TEST_F(Directories, subdirectoriesAreSearchedOnlyIfWished)
{
    put(at("dir/deep/down/tool"), "tool");
    add(at("dir"));
    EXPECT_EQ(findBy(*searchIn(dirs), "tool"), "");
    add(at("dir"), true);
    EXPECT_EQ(findBy(*searchIn(dirs), "tool"), at("dir/deep/down/tool"));
}

TEST_F(Directories, belowTheLongestCommonEndWinsThenTheNearest)
{
    put(at("dir/a/tool"), "");
    put(at("dir/z/y/x/lib/tool"), "");
    put(at("dir/b/c/tool"), "");
    add(at("dir"), true);
    EXPECT_EQ(findBy(*searchIn(dirs), "/opt/lib/tool"), at("dir/z/y/x/lib/tool"));
    EXPECT_EQ(findBy(*searchIn(dirs), "/opt/bin/tool"), at("dir/a/tool"));
}

TEST_F(Directories, linksToFoldersAreNotFollowedAndLinksToFilesAre)
{
    fs::create_directories(at("dir/a"));
    fs::create_directory_symlink(at("dir"), at("dir/a/loop"));
    fs::create_directory_symlink(at("outside"), at("dir/a/link"));
    put(at("outside/tool"), "tool");
    add(at("dir"), true);
    EXPECT_EQ(findBy(*searchIn(dirs), "tool"), "");
    fs::create_symlink(at("outside/tool"), at("dir/a/tool"));
    EXPECT_EQ(findBy(*searchIn(dirs), "tool"), at("dir/a/tool"));
}

TEST_F(Directories, aTreeThatIsTooDeepEndsAndSaysSo)
{
    std::string path = at("dir");
    for (int i = 0; i < 100; ++i)
        path += "/d";
    put(path + "/tool", "tool");
    add(at("dir"), true);
    const ObjectPtr<IFileSearch> searching = searchIn(dirs);
    EXPECT_EQ(findBy(*searching, "tool"), "");
    EXPECT_EQ(searching->getAttempts("tool").back().refusal, refusal_t::unfinished);
}

TEST_F(Directories, ofManyFilesOfOneNameSomeAreTried)
{
    class Never final : public IFileValidator {
        validation_result_t validate(const char*, IErrorInfoContainer&) override
        {
            return validation_result_t::refused;
        }
    } never;
    for (int i = 0; i < 100; ++i)
        put(at("dir/" + std::to_string(i) + "/tool"), "");
    add(at("dir"), true);
    const ObjectPtr<IFileSearch> searching = searchIn(dirs);
    EXPECT_EQ(findBy(*searching, "tool", &never), "");
    const std::vector<attempt_t> attempts = searching->getAttempts("tool");
    ASSERT_EQ(attempts.size(), 66U); // the name in the directory, 64 below it, the note
    EXPECT_EQ(attempts[1].refusal, refusal_t::validator);
    EXPECT_EQ(attempts.back().refusal, refusal_t::unfinished);
}

} // namespace
