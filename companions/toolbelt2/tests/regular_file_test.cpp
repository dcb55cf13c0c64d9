#include <toolbelt2/regular_file.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using toolbelt2::regular_file_t;

class RegularFile : public testing::Test {
protected:
    RegularFile()
        : m_folder(std::filesystem::temp_directory_path() /
                   ("sf-regular-file-" + std::to_string(::getpid())))
    {
        create_directories(m_folder);
    }
    ~RegularFile() override { remove_all(m_folder); }

    std::string in(const std::string& name) const { return (m_folder / name).string(); }

private:
    std::filesystem::path m_folder;
};

TEST_F(RegularFile, IsOpenWithItsSizeAndPermissions)
{
    std::ofstream(in("a")) << "text";
    ::chmod(in("a").c_str(), 0640);
    const regular_file_t file(in("a"));
    ASSERT_TRUE(file.isOpen());
    char bytes[8];
    EXPECT_EQ(::read(file.descriptor(), bytes, sizeof bytes), 4);
    EXPECT_EQ(file.size(), 4U);
    EXPECT_EQ(file.mode(), 0640U);
}

TEST_F(RegularFile, ThatIsNotThereTellsSo)
{
    const regular_file_t file(in("none"));
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.error(), ENOENT);
}

TEST_F(RegularFile, OtherThingsOfThatNameAreNotOpened)
{
    ::mkfifo(in("pipe").c_str(), 0600);
    for (const std::string& path : {in("pipe"), in(""), std::string("/dev/null")}) {
        const regular_file_t file(path);
        EXPECT_FALSE(file.isOpen()) << path;
        EXPECT_EQ(file.error(), 0) << path;
        EXPECT_EQ(file.descriptor(), -1) << path;
    }
}

TEST_F(RegularFile, ANameWithANullCharacterIsNone)
{
    std::ofstream(in("a")) << "text";
    const regular_file_t file(in("a") + std::string(1, '\0') + "b");
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.error(), EINVAL);
}

} // namespace
