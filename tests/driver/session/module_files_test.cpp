#include "scratch_result.h"

#include "session/module_files.h"

namespace samplefold::session {
namespace {

const std::string g_file = std::string(SF_TEST_DATA_DIR) + "/perf/binaries/deeptree";
const std::string g_itsId = "27a6ba20a86b79f5c05e43cca8ddcb21030bebd6";
const std::string g_otherId = "11111111111111111111111111111111111111aa";

class ModuleFilesTest : public testing::ScratchResultTest {
protected:
    /// Files that a recording with two builds of one path leads to, when searches go by `expected`.
    std::pair<std::string, std::string> foundBy(const std::string& expected)
    {
        ModuleFiles files(db(), folder(), {});
        files.expect({{g_file, expected}}, {});
        const auto its = files.add(g_file, g_itsId);
        const auto other = files.add(g_file, g_otherId);
        return {files.fileOf(its).found, files.fileOf(other).found};
    }
};

TEST_F(ModuleFilesTest, OfTwoBuildsOfAPathTheOneWhoseFileIsThereHasAFile)
{
    const std::pair<std::string, std::string> one{g_file, ""};
    EXPECT_EQ(foundBy(g_itsId), one);
}

TEST_F(ModuleFilesTest, OfTwoBuildsOfAPathNeitherTakesTheOthersFile)
{
    const std::pair<std::string, std::string> none{"", ""};
    EXPECT_EQ(foundBy(g_otherId), none);
}

} // namespace
} // namespace samplefold::session
