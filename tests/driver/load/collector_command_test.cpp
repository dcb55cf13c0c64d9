#include "load/collector_command.h"

#include <gtest/gtest.h>

namespace samplefold::load {
namespace {

using words_t = std::vector<std::string>;

perfdata::Features recorded(words_t words)
{
    perfdata::Features features;
    features.cmdline = std::move(words);
    return features;
}

TEST(CollectorCommandLine, ARecordedListIsKeptAsItIs)
{
    const auto command =
        collectorCommand(recorded({"perf", "record", "--", "sh", "-c", "a 'b\\ c", ""}), "");
    EXPECT_EQ(command.arguments, (words_t{"perf", "record", "--", "sh", "-c", "a 'b\\ c", ""}));
    EXPECT_EQ(command.text, "perf record -- sh -c a 'b\\ c ");
}

TEST(CollectorCommandLine, AGivenTextIsSplitAndGoesBeforeTheRecordedList)
{
    const auto command = collectorCommand(recorded({"perf"}), "collect -o 'my result' -- app");
    EXPECT_EQ(command.arguments, (words_t{"collect", "-o", "my result", "--", "app"}));
    EXPECT_EQ(command.text, "collect -o 'my result' -- app");
}

TEST(CollectorCommandLine, AGivenTextOfAnotherSystemIsSplitByItsRules)
{
    EXPECT_EQ(collectorCommand({}, R"(C:\tools\c.exe "a b")").arguments,
              (words_t{R"(C:\tools\c.exe)", "a b"}));
}

TEST(CollectorCommandLine, ARecordingWithoutOneHasNone)
{
    const auto command = collectorCommand({}, "");
    EXPECT_TRUE(command.arguments.empty());
    EXPECT_EQ(command.text, "");
}

} // namespace
} // namespace samplefold::load
