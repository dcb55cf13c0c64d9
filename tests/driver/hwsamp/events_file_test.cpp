#include "hwsamp/events_file.h"
#include "hwsamp/text_file.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace samplefold::hwsamp {
namespace {

EventPlan planOf(const std::string& pmu)
{
    return {.remarks = {}, .sections = {{.pmu = pmu, .groups = {}}}};
}

TEST(EventsFile, TakesThePlaceOfTheOneBefore)
{
    const samplefold_test::TemporaryFolder folder;
    writeEventsFile(folder.path(), planOf("a"));
    writeEventsFile(folder.path(), planOf("b"));
    EXPECT_EQ(readTextFile(folder.path("hwsamp.events")), "PMU type: b\n");
    EXPECT_FALSE(std::filesystem::exists(folder.path("hwsamp.events.new")));
}

TEST(EventsFile, NeedsAFolder)
{
    const samplefold_test::TemporaryFolder folder;
    EXPECT_THROW(writeEventsFile(folder.path("none"), planOf("a")), ToolError);
    EXPECT_THROW(writeEventsFile(folder.addFile("file", ""), planOf("a")), ToolError);
}

TEST(EventsFile, WhatStandsInItsWayIsToldAndLeft)
{
    const samplefold_test::TemporaryFolder folder;
    folder.addFolder("hwsamp.events");
    EXPECT_THROW(writeEventsFile(folder.path(), planOf("a")), ToolError);
    EXPECT_TRUE(std::filesystem::is_directory(folder.path("hwsamp.events")));
    EXPECT_FALSE(std::filesystem::exists(folder.path("hwsamp.events.new")));
}

} // namespace
} // namespace samplefold::hwsamp
