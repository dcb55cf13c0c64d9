#include "support/scoped_environment.h"

#include <optbook2/product_locations.h>

#include <gtest/gtest.h>

#include <filesystem>

namespace optbook2 {
namespace {

std::optional<std::string> toolDirectory()
{
    return IProductLocations::get().getToolDirectory(IProductLocations::getArch());
}

TEST(ProductLocations, ToolsOfABuildAreWhereTheBuildPutsThem)
{
    ASSERT_TRUE(toolDirectory().has_value());
    EXPECT_TRUE(std::filesystem::equivalent(*toolDirectory(), SF_TOOL_FOLDER)) << *toolDirectory();
    EXPECT_NE(toolDirectory()->back(), '/');
}

TEST(ProductLocations, ToolsCanBeChosenByTheEnvironment)
{
    const samplefold_test::ScopedEnvironment chosen("SAMPLEFOLD_TOOL_DIR", "/some/where");
    EXPECT_EQ(toolDirectory(), "/some/where") << "whether it is there or not";
}

TEST(ProductLocations, AnEmptyChoiceIsNone)
{
    const auto usual = toolDirectory();
    const samplefold_test::ScopedEnvironment chosen("SAMPLEFOLD_TOOL_DIR", "");
    EXPECT_EQ(toolDirectory(), usual);
}

TEST(ProductLocations, ThereAreNoToolsForOtherProcessors)
{
    const samplefold_test::ScopedEnvironment chosen("SAMPLEFOLD_TOOL_DIR", "/some/where");
    EXPECT_FALSE(IProductLocations::get().getToolDirectory(arch_t::other).has_value());
}

TEST(ProductLocations, ThisProgramRunsOnX86)
{
    EXPECT_EQ(IProductLocations::getArch(), arch_t::x86_64);
}

} // namespace
} // namespace optbook2
