#include <toolbelt2/path.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using tb2::path_t;

/// A folder of its own per test.
class Path : public testing::Test {
protected:
    Path()
    {
        const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
        m_folder = fs::temp_directory_path() /
                   ("toolbelt2-" + std::to_string(::getpid()) + "-" + test->name());
        fs::create_directories(m_folder);
    }
    ~Path() override { fs::remove_all(m_folder); }

    std::string in(const std::string& name) const { return (m_folder / name).string(); }

    fs::path m_folder;
};

path_t appended(std::string_view start, std::string_view element)
{
    path_t out(start);
    EXPECT_TRUE(out.append(element)) << element;
    return out;
}

TEST_F(Path, keepsItsBytesAsGiven)
{
    EXPECT_EQ(path_t().as_string(), "");
    EXPECT_EQ(path_t("a//b/../\xff").as_string(), "a//b/../\xff");
}

TEST_F(Path, appendPutsOneSeparatorBetween)
{
    EXPECT_EQ(appended("/usr", "lib").as_string(), "/usr/lib");
    EXPECT_EQ(appended("/usr/", "lib").as_string(), "/usr/lib");
    EXPECT_EQ(appended("/", "lib").as_string(), "/lib");
    EXPECT_EQ(appended("/usr", "lib/debug").as_string(), "/usr/lib/debug");
}

TEST_F(Path, appendToAnEmptyPathGivesTheElement)
{
    EXPECT_EQ(appended("", "lib").as_string(), "lib");
}

TEST_F(Path, appendRefusesAnEmptyOrAbsoluteElementAndChangesNothing)
{
    path_t path("/usr");
    EXPECT_FALSE(path.append(""));
    EXPECT_FALSE(path.append("/lib"));
    EXPECT_EQ(path.as_string(), "/usr");
}

TEST_F(Path, theLeafIsTheLastElement)
{
    EXPECT_EQ(path_t("/usr/lib/libc.so.6").leaf(), "libc.so.6");
    EXPECT_EQ(path_t("libc.so.6").leaf(), "libc.so.6");
    EXPECT_EQ(path_t("/").leaf(), "");
    EXPECT_EQ(path_t("/usr/").leaf(), "");
    EXPECT_EQ(path_t("").leaf(), "");
    EXPECT_EQ(path_t("/a/[vdso]").leaf(), "[vdso]");
}

TEST_F(Path, tellsFilesFoldersAndNothingApart)
{
    std::ofstream(in("file")) << "x";
    EXPECT_TRUE(path_t(in("file")).exists());
    EXPECT_FALSE(path_t(in("file")).is_directory());
    EXPECT_TRUE(path_t(m_folder.string()).exists());
    EXPECT_TRUE(path_t(m_folder.string()).is_directory());
    EXPECT_FALSE(path_t(in("nothing")).exists());
    EXPECT_FALSE(path_t(in("nothing")).is_directory());
    EXPECT_FALSE(path_t("").exists());
}

TEST_F(Path, theStaticQuestionsAnswerAsTheOthers)
{
    std::ofstream(in("file")) << "x";
    EXPECT_TRUE(path_t::exists(in("file")));
    EXPECT_FALSE(path_t::is_directory(in("file")));
    EXPECT_TRUE(path_t::is_directory(m_folder.string()));
    EXPECT_FALSE(path_t::exists(in("nothing")));
}

TEST_F(Path, aLinkIsWhatItLeadsTo)
{
    fs::create_directory_symlink(m_folder, in("link"));
    fs::create_symlink(in("nothing"), in("dangling"));
    EXPECT_TRUE(path_t(in("link")).is_directory());
    EXPECT_FALSE(path_t(in("dangling")).exists());
}

TEST_F(Path, anErrorOfTheFileSystemCountsAsNo)
{
    std::ofstream(in("file")) << "x";
    const std::string throughAFile = in("file") + "/inner";
    const std::string tooLong = in(std::string(5000, 'n'));
    fs::create_symlink(in("loop"), in("loop"));
    for (const std::string& path : {throughAFile, tooLong, in("loop")}) {
        EXPECT_FALSE(path_t(path).exists()) << path;
        EXPECT_FALSE(path_t(path).is_directory()) << path;
    }
}

} // namespace
