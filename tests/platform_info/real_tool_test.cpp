#include "support/log_capture.h"
#include "support/scoped_environment.h"
#include "support/temporary_folder.h"

#include <samplefold_1/platform_info.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace samplefold_1 {
namespace {

namespace fs = std::filesystem;

/// A number that /proc/cpuinfo tells of the first processor.
std::uint32_t cpuinfo(const std::string& key)
{
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(key) && line.find_first_not_of(" \t", key.size()) == line.find(':'))
            return static_cast<std::uint32_t>(std::stoul(line.substr(line.find(':') + 1)));
    }
    return 0;
}

TEST(RealTool, IsFoundInTheBuildAndKnowsTheModelsOfItsFile)
{
    const samplefold_test::LogCapture log;
    PlatformInfo info;
    EXPECT_TRUE(info.init());
    EXPECT_TRUE(log.entries().empty());
    EXPECT_EQ(info.getPMU(6, 0x5e, 3), "skylake");
    EXPECT_EQ(info.getPMU(6, 0x3c, 3), "haswell");
    EXPECT_EQ(info.getPMU(6, 0xfe, 0), "");
}

/// The tool with a platform file of the test.
class ToolWithFile : public testing::Test {
protected:
    void platforms(const std::string& content)
    {
        folder.addFile("hwsamp", "#!/bin/sh\nexec '" SF_REAL_TOOL "' \"$@\" --platforms '" +
                                     folder.addFile("platforms", content) + "'\n");
        fs::permissions(folder.path("hwsamp"), fs::perms::owner_all);
    }

    samplefold_test::TemporaryFolder folder;
    samplefold_test::ScopedEnvironment directory{"SAMPLEFOLD_TOOL_DIR", folder.path().c_str()};
    PlatformInfo info;
};

TEST_F(ToolWithFile, TheModelsOfATextFileAreKnown)
{
    platforms("# ours\n0x12340 our_pmu Our CPU (R) @ 3 GHz\n\n0x00012350\tother\tcpu\n");
    EXPECT_EQ(info.getPMU(3, 0x14, 0), "our_pmu");
    EXPECT_EQ(info.getPMU(3, 0x15, 0), "other");
}

TEST_F(ToolWithFile, ABadLineLosesNoOther)
{
    platforms("0x12340 our_pmu Our CPU\nnonsense\n0x12350 other cpu\n");
    EXPECT_EQ(info.getPMU(3, 0x14, 0), "our_pmu");
    EXPECT_EQ(info.getPMU(3, 0x15, 0), "other");
}

TEST_F(ToolWithFile, TheRunningProcessorGoesBeforeALineOfTheFile)
{
    const std::uint32_t family = cpuinfo("cpu family");
    const std::uint32_t model = cpuinfo("model");
    ASSERT_NE(family, 0u);
    const std::uint32_t base = std::min(family, 15u);
    std::ostringstream line;
    line << "0x" << std::hex << (base << 8 | (model & 0xf) << 4 | (model >> 4) << 16)
         << " from_the_file Some CPU\n";
    platforms(line.str());
    const std::string pmu = info.getPMU(base, model, 0);
    EXPECT_NE(pmu, "") << "the file at least knows it";
    FILE* const tool = ::popen("'" SF_REAL_TOOL "' -pl | tail -n 1", "r");
    ASSERT_NE(tool, nullptr);
    std::string own(1000, '\0');
    own.resize(std::fread(own.data(), 1, own.size(), tool));
    ::pclose(tool);
    const bool isUnknown = own.find("PMU: Unknown") != std::string::npos;
    EXPECT_EQ(pmu == "from_the_file", isUnknown) << own;
}

} // namespace
} // namespace samplefold_1
