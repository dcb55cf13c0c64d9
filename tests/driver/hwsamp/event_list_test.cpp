#include "hwsamp/event_list.h"
#include "hwsamp/text_file.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>

namespace samplefold::hwsamp {
namespace {

using Sets = std::vector<EventSet>;

std::string problemOf(const std::string& text)
{
    try {
        parseEvents(text);
    } catch (const ToolError& error) {
        return error.what();
    }
    return {};
}

TEST(EventList, IsDividedByCommas)
{
    EXPECT_EQ(parseEvents("a,b:u, c ,,d"), (Sets{{"a"}, {"b:u"}, {"c"}, {"d"}}));
    EXPECT_EQ(parseEvents(""), Sets{});
    EXPECT_EQ(parseEvents(" , "), Sets{});
}

TEST(EventList, CommasBetweenSlashesAreTheEventsOwn)
{
    EXPECT_EQ(parseEvents("cpu/event=0x3c,umask=1/u,b"),
              (Sets{{"cpu/event=0x3c,umask=1/u"}, {"b"}}));
}

TEST(EventList, BracesHoldEventsTogether)
{
    EXPECT_EQ(parseEvents("a,{b,c},{d}"), (Sets{{"a"}, {"b", "c"}, {"d"}}));
    EXPECT_EQ(parseEvents("{},{ , }"), Sets{});
}

TEST(EventList, ModifiersBehindABraceAreThoseOfEachEvent)
{
    EXPECT_EQ(parseEvents("{b,c}:u,d"), (Sets{{"b:u", "c:u"}, {"d"}}));
}

TEST(EventList, BracesAndSlashesMustPair)
{
    EXPECT_EQ(problemOf("{a,b"), "a brace is not closed");
    EXPECT_EQ(problemOf("a}"), "a closing brace has no opening one");
    EXPECT_EQ(problemOf("{a,{b}}"), "an opening brace stands within an event or a set");
    EXPECT_EQ(problemOf("a{b}"), "an opening brace stands within an event or a set");
    EXPECT_EQ(problemOf("{a}{b}"), "an opening brace stands within an event or a set");
    EXPECT_EQ(problemOf("cpu/event=1"), "a slash stands alone");
}

TEST(EventList, AControlCharacterInAnEventIsRefused)
{
    const std::string problem = "a control character stands in an event";
    EXPECT_EQ(problemOf("cpu/a\nGroup 7: x/"), problem);
    EXPECT_EQ(problemOf("a\nb"), problem);
    EXPECT_EQ(problemOf("\x1b[2J"), problem);
    EXPECT_EQ(problemOf("a,\x7f"), problem);
    EXPECT_EQ(problemOf(std::string("a\0b", 3)), problem);
    EXPECT_EQ(parseEvents("\ta\r,\tb"), (Sets{{"a"}, {"b"}})) << "blanks around events";
}

TEST(EventFile, HoldsAListInEachLine)
{
    const samplefold_test::TemporaryFolder folder;
    const std::string path = folder.addFile("list", "# first\na,b\n\n  {c,d}\r\n");
    EXPECT_EQ(readEventFile(path), (Sets{{"a"}, {"b"}, {"c", "d"}}));
}

TEST(EventFile, ProblemsAreToldWithTheirPlace)
{
    const samplefold_test::TemporaryFolder folder;
    const std::string path = folder.addFile("list", "a\n{b\n");
    try {
        readEventFile(path);
        ADD_FAILURE();
    } catch (const ToolError& error) {
        EXPECT_EQ(error.what(), path + ":2: a brace is not closed");
    }
    EXPECT_THROW(readEventFile(folder.path("none")), ToolError);
}

} // namespace
} // namespace samplefold::hwsamp
