#include "hwsamp/options.h"

#include <gtest/gtest.h>

namespace samplefold::hwsamp {
namespace {

using words_t = std::vector<std::string>;

std::string usageProblem(const words_t& words)
{
    try {
        parseOptions(words);
    } catch (const UsageError& error) {
        return error.what();
    }
    return {};
}

TEST(Options, APlatformListTakesAFile)
{
    EXPECT_EQ(parseOptions({"-pl"}).task, task_t::platforms);
    EXPECT_EQ(parseOptions({"-pl", "--platforms", "f"}).platformFile, "f");
    EXPECT_EQ(parseOptions({"--platforms", "f", "-pl"}).platformFile, "f");
}

TEST(Options, EventsComeAsArgumentsAndFromFiles)
{
    const Options options =
        parseOptions({"a,b", "-events", "dir", "--event-list", "f", "c", "--event-list", "g"});
    EXPECT_EQ(options.task, task_t::events);
    EXPECT_EQ(options.folder, "dir");
    EXPECT_EQ(options.eventLists, (words_t{"a,b", "c"}));
    EXPECT_EQ(options.eventFiles, (words_t{"f", "g"}));
}

TEST(Options, HelpAndVersionGoBeforeAllElse)
{
    EXPECT_EQ(parseOptions({"-pl", "--help"}).task, task_t::help);
    EXPECT_EQ(parseOptions({"-h"}).task, task_t::help);
    EXPECT_EQ(parseOptions({"--version"}).task, task_t::version);
}

TEST(Options, WrongUsageIsTold)
{
    EXPECT_EQ(usageProblem({}), "give -pl or -events; --help tells more");
    EXPECT_EQ(usageProblem({"cycles"}), "give -pl or -events; --help tells more");
    EXPECT_EQ(usageProblem({"-x"}), "-x: there is no such option");
    EXPECT_EQ(usageProblem({"-pl", "-pl"}), "-pl: there is a task already");
    EXPECT_EQ(usageProblem({"-pl", "-events", "d"}), "-events: there is a task already");
    EXPECT_EQ(usageProblem({"-events"}), "-events needs a value");
    EXPECT_EQ(usageProblem({"-events", ""}), "-events needs a value");
    EXPECT_EQ(usageProblem({"-events", "d"}),
              "-events needs events, as arguments or by --event-list");
    EXPECT_EQ(usageProblem({"-pl", "cycles"}), "-pl takes no events");
    EXPECT_EQ(usageProblem({"-events", "d", "a", "--platforms", "f"}),
              "--platforms goes with -pl alone");
}

} // namespace
} // namespace samplefold::hwsamp
