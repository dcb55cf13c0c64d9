#include "support/scoped_environment.h"

#include <optbook2/tool_directory.h>

#include <gtest/gtest.h>

#include <filesystem>

namespace optbook2 {
namespace {

TEST(ToolDirectory, IsTheFolderOfTheRunningProgram)
{
    const std::filesystem::path folder = getToolDirectory();
    EXPECT_TRUE(std::filesystem::equivalent(folder / "optbook2_tests", "/proc/self/exe"));
}

TEST(ToolDirectory, CanBeChosenByTheEnvironment)
{
    const samplefold_test::ScopedEnvironment chosen("SAMPLEFOLD_TOOL_DIR", "/some/where");
    EXPECT_EQ(getToolDirectory(), "/some/where");
}

TEST(ToolDirectory, AnEmptyChoiceIsNone)
{
    const std::string usual = getToolDirectory();
    const samplefold_test::ScopedEnvironment chosen("SAMPLEFOLD_TOOL_DIR", "");
    EXPECT_EQ(getToolDirectory(), usual);
    EXPECT_FALSE(usual.empty());
}

} // namespace
} // namespace optbook2
