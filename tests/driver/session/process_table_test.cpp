#include "session/process_table.h"

#include <gtest/gtest.h>

#include <utility>

namespace samplefold::session {
namespace {

TEST(ProcessTableTest, ThePidMinusOneOfMappingsIsTheKernel)
{
    ProcessTable table;
    EXPECT_EQ(table.kernel().pid, -1);
    EXPECT_EQ(table.kernel().life, -1);
    EXPECT_NE(&table.newest(-1), &table.kernel()) << "a sample's pid -1 is a task that is gone";
}

TEST(ProcessTableTest, AProcessStaysTheSameUntilANewLifeBegins)
{
    ProcessTable table;
    Process& first = table.newest(5);
    EXPECT_EQ(&table.newest(5), &first);
    EXPECT_EQ(first.life, 0);
    first.end = 90;
    Process& second = table.begin(5, 100);
    EXPECT_NE(&second, &first);
    EXPECT_EQ(second.life, 1);
    EXPECT_EQ(second.start, 100U);
    EXPECT_EQ(&table.newest(5), &second);
}

TEST(ProcessTableTest, ALifeThatBeganAtThatTickIsTakenOver)
{
    ProcessTable table;
    Process& first = table.begin(5, 100);
    EXPECT_EQ(&table.begin(5, 100), &first);
    first.end = 100;
    EXPECT_NE(&table.begin(5, 100), &first) << "but not after its end";
}

TEST(ProcessTableTest, ATickBelongsToTheNewestLifeThatHadBegun)
{
    ProcessTable table;
    Process& first = table.begin(5, 100);
    Process& second = table.begin(5, 200);
    Process& third = table.begin(5, 300);
    EXPECT_EQ(&table.at(5, 100), &first);
    EXPECT_EQ(&table.at(5, 199), &first);
    EXPECT_EQ(&table.at(5, 200), &second);
    EXPECT_EQ(&table.at(5, 999), &third);
    EXPECT_EQ(&table.at(5, 50), &first) << "the oldest, for a tick before all";
    EXPECT_EQ(table.at(6, 50).life, 0) << "made when the pid is new";
}

TEST(ProcessTableTest, ThreadsAreMadeOnceAndBearTheNameOfTheProcess)
{
    ProcessTable table;
    Process& process = table.newest(5);
    process.name = "worker";
    Thread& thread = process.thread(6);
    EXPECT_EQ(&process.thread(6), &thread);
    EXPECT_EQ(thread.name, "worker");
    EXPECT_EQ(thread.process, &process);
    EXPECT_TRUE(thread.alive);
    EXPECT_EQ(process.liveThreads, 1U);
}

TEST(ProcessTableTest, LiveThreadsAreCountedOnceEach)
{
    ProcessTable table;
    Process& process = table.newest(5);
    process.startThread(5, 10);
    process.startThread(6, 20);
    process.startThread(6, 21);
    EXPECT_EQ(process.liveThreads, 2U);
    process.endThread(6, 30);
    process.endThread(6, 31);
    EXPECT_EQ(process.liveThreads, 1U);
    process.endThread(7, 32);
    EXPECT_EQ(process.liveThreads, 1U) << "the end of a thread that nobody saw start";
    process.startThread(6, 40);
    EXPECT_EQ(process.liveThreads, 2U);
    EXPECT_EQ(process.thread(6).start, 40U);
    EXPECT_EQ(process.thread(6).end, 0U);
}

TEST(ProcessTableTest, AllProcessesAreVisitedByPidAndLifeTheKernelFirst)
{
    ProcessTable table;
    table.newest(7);
    table.begin(5, 100).end = 150;
    table.begin(5, 200);
    table.newest(0);
    std::vector<std::pair<std::int32_t, std::int32_t>> seen;
    table.forEach([&](Process& process) { seen.emplace_back(process.pid, process.life); });
    const std::vector<std::pair<std::int32_t, std::int32_t>> want{
        {-1, -1}, {0, 0}, {5, 0}, {5, 1}, {7, 0}};
    EXPECT_EQ(seen, want);
}

TEST(ProcessTableTest, AProcessDoesNotInheritFromItself)
{
    ProcessTable table;
    Process& process = table.newest(5);
    const std::string path = "/bin/program";
    process.space.map({0, 9, 0, 1, &path}, 1);
    table.inherit(process, process, 5);
    Place place;
    ASSERT_TRUE(process.space.find(5, 9, place));
    EXPECT_EQ(place.loadTime, 1U);
}

} // namespace
} // namespace samplefold::session
