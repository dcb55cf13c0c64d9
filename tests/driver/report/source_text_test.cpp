#include "report/source_text.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>

namespace samplefold::report {
namespace {

using numbered_t = std::map<std::int64_t, std::string>;

class SourceTextTest : public ::testing::Test {
protected:
    std::string put(const std::string& name, const std::string& content)
    {
        const std::filesystem::path path = folder.path(name);
        std::filesystem::create_directories(path.parent_path());
        return folder.addFile(name, content);
    }
    SourceText read(const std::string& path, const std::set<std::int64_t>& wanted = {1})
    {
        return SourceReader({folder.path("dir")}, folder.path("archive")).read(path, wanted);
    }

    samplefold_test::TemporaryFolder folder;
};

TEST_F(SourceTextTest, OnlyTheWantedLinesAreKept)
{
    const std::string path = put("a.c", "one\ntwo\n\nfour");
    EXPECT_EQ(read(path, {2, 3, 4, 5}).lines, (numbered_t{{2, "two"}, {3, ""}, {4, "four"}}));
    EXPECT_EQ(read(path, {}).lines, numbered_t{});
    EXPECT_EQ(read(path).file, path);
}

TEST_F(SourceTextTest, ALongLineIsCut)
{
    const std::string path = put("a.c", std::string(1'000'000, 'x') + "\nnext\n");
    EXPECT_EQ(read(path, {1, 2}).lines, (numbered_t{{1, std::string(1000, 'x')}, {2, "next"}}));
}

TEST_F(SourceTextTest, DirectoriesAreSearchedByTheEndsOfThePath)
{
    put("dir/a.c", "leaf");
    EXPECT_EQ(read("/gone/src/a.c").lines, (numbered_t{{1, "leaf"}}));
    put("dir/src/a.c", "longer");
    EXPECT_EQ(read("/gone/src/a.c").lines, (numbered_t{{1, "longer"}}));
    EXPECT_EQ(read("../gone/./src/a.c").lines, (numbered_t{{1, "longer"}}));
}

TEST_F(SourceTextTest, TheArchiveComesLast)
{
    put("archive/sources/gone/a.c", "archived");
    EXPECT_EQ(read("/gone/a.c").lines, (numbered_t{{1, "archived"}}));
    put("dir/a.c", "leaf");
    EXPECT_EQ(read("/gone/a.c").lines, (numbered_t{{1, "leaf"}}));
}

TEST_F(SourceTextTest, PathsDoNotLeadOutOfADirectory)
{
    put("outside.c", "secret");
    EXPECT_EQ(read("../outside.c").file, "");
    EXPECT_EQ(read("/../../outside.c").file, "");
    EXPECT_EQ(read("").file, "");
    EXPECT_EQ(read("..").file, "");
}

TEST_F(SourceTextTest, OnlyRegularFilesOfASensibleSizeAreRead)
{
    ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(read(folder.path("pipe")).file, "");
    EXPECT_EQ(read("/dev/zero").file, "");
    const std::string large = put("large.c", "x\n");
    std::filesystem::resize_file(large, maxSourceBytes);
    EXPECT_EQ(read(large).file, large);
    std::filesystem::resize_file(large, maxSourceBytes + 1);
    EXPECT_EQ(read(large).file, "");
}

} // namespace
} // namespace samplefold::report
