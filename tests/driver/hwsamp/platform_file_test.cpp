#include "hwsamp/platform_file.h"
#include "hwsamp/text_file.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace samplefold::hwsamp {
namespace {

class PlatformFile : public testing::Test {
protected:
    std::vector<Platform> parse(std::string_view content)
    {
        return parsePlatforms(content, "file",
                              [this](const std::string& text) { complaints.push_back(text); });
    }
    std::vector<Platform> read(const std::string& path)
    {
        return readPlatforms(path, [this](const std::string& text) { complaints.push_back(text); });
    }

    samplefold_test::TemporaryFolder folder;
    std::vector<std::string> complaints;
};

TEST_F(PlatformFile, ALineIsSignaturePmuAndTheRest)
{
    const std::vector<Platform> expected{
        {.number = 1, .pmu = "skl", .signature = 0x506e3, .cpuName = "Some CPU, @ 3 GHz"},
        {.number = 2, .pmu = "zen", .signature = 0xA00F11, .cpuName = "x"}};
    EXPECT_EQ(parse("0x506e3 skl Some CPU, @ 3 GHz\n\t0xA00F11\t zen \tx \r\n"), expected);
    EXPECT_TRUE(complaints.empty());
}

TEST_F(PlatformFile, BlankLinesAndCommentsCountForNothing)
{
    EXPECT_EQ(parse("# 0x1 a b\n\n  \t\n0x2 b c").size(), 1u);
    EXPECT_TRUE(complaints.empty());
}

TEST_F(PlatformFile, ABadLineIsToldWithItsPlaceAndTheOthersAreKept)
{
    const auto platforms = parse("0x1 a b\n506e3 skl X\n0x2 c-d X\n0x3 e\n0x4\n0xzz a b\n"
                                 "0x11111111111111111 a b\n0x5 f g\n");
    ASSERT_EQ(platforms.size(), 2u);
    EXPECT_EQ(platforms[1].number, 2);
    EXPECT_EQ(platforms[1].pmu, "f");
    const std::string signature =
        ": the line must begin with a signature such as 0x50657; the line is left out";
    const std::string pmu = ": the second word must be the PMU's name, of letters, digits and "
                            "underscores; the line is left out";
    EXPECT_EQ(complaints, (std::vector<std::string>{
                              "file:2" + signature, "file:3" + pmu,
                              "file:4: the name of the CPU is missing; the line is left "
                              "out",
                              "file:5" + pmu, "file:6" + signature, "file:7" + signature}));
}

TEST_F(PlatformFile, AHundredComplaintsAreEnough)
{
    std::string bad;
    for (int line = 0; line < 1000; ++line)
        bad += "nonsense\n";
    EXPECT_TRUE(parse(bad + "0x1 a b\n").empty());
    ASSERT_EQ(complaints.size(), 101u);
    EXPECT_EQ(complaints.back(), "file:101: too many bad lines; the rest is left out");
}

TEST_F(PlatformFile, BinaryBytesAreBadLines)
{
    parse(std::string("\0\1\2\xff\n\x7f"
                      "ELF\n",
                      10));
    EXPECT_EQ(complaints.size(), 2u);
}

TEST_F(PlatformFile, AMissingFileHoldsNone)
{
    EXPECT_TRUE(read(folder.path("none")).empty());
    EXPECT_TRUE(complaints.empty());
}

TEST_F(PlatformFile, AFolderCannotBeRead)
{
    EXPECT_TRUE(read(folder.path()).empty());
    EXPECT_EQ(complaints, std::vector<std::string>{folder.path() + ": it is no file"});
}

TEST_F(PlatformFile, AFileThatIsTooLongIsRefused)
{
    const std::string path = folder.addFile("long", std::string(textFileLimit + 1, '\n'));
    EXPECT_TRUE(read(path).empty());
    EXPECT_EQ(complaints, std::vector<std::string>{path + ": it is longer than 1048576 bytes"});
}

TEST_F(PlatformFile, AFileOfTheGreatestLengthIsRead)
{
    const std::string line = "0x1 a b\n";
    const std::string path =
        folder.addFile("long", std::string(textFileLimit - line.size(), '\n') + line);
    EXPECT_EQ(read(path).size(), 1u);
    EXPECT_TRUE(complaints.empty());
}

TEST_F(PlatformFile, APipeIsNotWaitedFor)
{
    const std::string path = folder.path("pipe");
    ASSERT_EQ(::system(("mkfifo '" + path + "'").c_str()), 0);
    EXPECT_TRUE(read(path).empty());
    EXPECT_EQ(complaints, std::vector<std::string>{path + ": it is no file"});
}

} // namespace
} // namespace samplefold::hwsamp
