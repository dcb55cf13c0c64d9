#include "side_band_fixture.h"

namespace samplefold::session {
namespace {

using testing::SideBandTest;
using lines_t = std::vector<std::string>;

TEST_F(SideBandTest, AMappingHoldsInItsProcessFromItsTimeOn)
{
    mmap(100, 5, 0x1000, 0x1000, "/bin/a", 0x3000);
    collect();
    Process& process = processes.newest(5);
    EXPECT_EQ(pathAt(process, 0x1000, 99), "-");
    EXPECT_EQ(pathAt(process, 0x1000, 100), "/bin/a");
    EXPECT_EQ(pathAt(process, 0x1fff, 100), "/bin/a");
    EXPECT_EQ(pathAt(process, 0x2000, 100), "-");
    EXPECT_EQ(pathAt(processes.newest(6), 0x1000, 100), "-");
    Place place;
    ASSERT_TRUE(process.space.find(0x1010, 100, place));
    EXPECT_EQ(place.rva, 0x3010U);
}

TEST_F(SideBandTest, AMappingOfNoLengthIsCountedAndMapsNothing)
{
    mmap(100, 5, 0x1000, 0, "/bin/a");
    collect();
    EXPECT_EQ(pathAt(processes.newest(5), 0x1000, 100), "-");
    EXPECT_EQ(quality.count("mapping of no length"), 1U);
}

TEST_F(SideBandTest, AMappingBeyondTheEndOfTheAddressSpaceIsCutThere)
{
    mmap(100, 5, 0xfffffffffffff000, 0x8000, "/bin/a");
    collect();
    EXPECT_EQ(pathAt(processes.newest(5), 0xffffffffffffffff, 100), "/bin/a");
    EXPECT_EQ(pathAt(processes.newest(5), 0, 100), "-");
}

TEST_F(SideBandTest, AnExecDropsTheMappings)
{
    mmap(100, 5, 0x1000, 0x1000, "/bin/a");
    comm(200, 5, 5, "b", execBit);
    mmap(200, 5, 0x4000, 0x1000, "/bin/b");
    collect();
    Process& process = processes.newest(5);
    EXPECT_EQ(pathAt(process, 0x1000, 199), "/bin/a");
    EXPECT_EQ(pathAt(process, 0x1000, 200), "-");
    EXPECT_EQ(pathAt(process, 0x4000, 200), "/bin/b");
    EXPECT_EQ(process.name, "b");
    EXPECT_EQ(process.life, 0) << "an exec is no new life";
}

TEST_F(SideBandTest, ANewNameWithoutAnExecKeepsTheMappings)
{
    mmap(100, 5, 0x1000, 0x1000, "/bin/a");
    comm(200, 5, 5, "renamed");
    collect();
    EXPECT_EQ(pathAt(processes.newest(5), 0x1000, 300), "/bin/a");
    EXPECT_EQ(processes.newest(5).name, "renamed");
}

TEST_F(SideBandTest, TheNameOfAThreadIsNotThatOfTheProcess)
{
    comm(100, 5, 5, "main");
    comm(110, 5, 6, "helper");
    collect();
    EXPECT_EQ(processes.newest(5).name, "main");
    EXPECT_EQ(processes.newest(5).thread(5).name, "main");
    EXPECT_EQ(processes.newest(5).thread(6).name, "helper");
}

TEST_F(SideBandTest, AForkInherits)
{
    comm(90, 5, 5, "parent");
    mmap(100, 5, 0x1000, 0x1000, "/bin/a");
    fork(200, 6, 6, 5);
    mmap(300, 5, 0x8000, 0x1000, "/bin/late");
    collect();
    Process& child = processes.newest(6);
    EXPECT_EQ(pathAt(child, 0x1000, 199), "-");
    EXPECT_EQ(pathAt(child, 0x1000, 200), "/bin/a");
    EXPECT_EQ(pathAt(child, 0x8000, 300), "-");
    EXPECT_EQ(child.parent, &processes.newest(5));
    EXPECT_EQ(child.start, 200U);
    EXPECT_EQ(child.name, "parent") << "until it is renamed";
}

TEST_F(SideBandTest, AForkMadeUpByTheRecorderDoesNotInherit)
{
    mmap(0, 5, 0x1000, 0x1000, "/bin/a");
    fork(0, 6, 6, 5, synthesised);
    mmap(0, 6, 0x4000, 0x1000, "/bin/b");
    collect();
    Process& child = processes.newest(6);
    EXPECT_EQ(pathAt(child, 0x1000, 50), "-");
    EXPECT_EQ(pathAt(child, 0x4000, 50), "/bin/b");
    EXPECT_EQ(child.parent, &processes.newest(5));
}

TEST_F(SideBandTest, AForkIntoTheSameProcessIsAThread)
{
    mmap(100, 5, 0x1000, 0x1000, "/bin/a");
    fork(200, 5, 7, 5);
    collect();
    Process& process = processes.newest(5);
    EXPECT_EQ(process.life, 0);
    EXPECT_EQ(process.thread(7).start, 200U);
    EXPECT_EQ(pathAt(process, 0x1000, 250), "/bin/a");
}

TEST_F(SideBandTest, AProcessEndsWithItsLastThread)
{
    comm(90, 5, 5, "main");
    mmap(100, 5, 0x1000, 0x1000, "/bin/a");
    fork(200, 5, 7, 5);
    exit(300, 5, 5);
    exit(400, 5, 7);
    collect();
    Process& process = processes.newest(5);
    EXPECT_EQ(process.thread(5).end, 300U);
    EXPECT_EQ(process.thread(7).end, 400U);
    EXPECT_EQ(process.end, 400U);
    EXPECT_EQ(pathAt(process, 0x1000, 399), "/bin/a")
        << "the first thread's end is not the process's";
    EXPECT_EQ(pathAt(process, 0x1000, 400), "/bin/a")
        << "a sample of that tick still belongs to it";
    EXPECT_EQ(pathAt(process, 0x1000, 401), "-");
}

TEST_F(SideBandTest, APidThatIsUsedAgainHasTwoLives)
{
    comm(90, 1, 1, "shell");
    fork(100, 5, 5, 1);
    mmap(110, 5, 0x1000, 0x1000, "/bin/first");
    exit(200, 5, 5);
    fork(300, 5, 5, 1);
    mmap(310, 5, 0x1000, 0x1000, "/bin/second");
    collect();
    Process& first = processes.at(5, 150);
    Process& second = processes.at(5, 320);
    ASSERT_NE(&first, &second);
    EXPECT_EQ(first.life + 1, second.life);
    EXPECT_EQ(first.end, 200U);
    EXPECT_EQ(second.start, 300U);
    EXPECT_EQ(second.end, 0U);
    EXPECT_EQ(pathAt(first, 0x1000, 150), "/bin/first");
    EXPECT_EQ(pathAt(first, 0x1000, 320), "-");
    EXPECT_EQ(pathAt(second, 0x1000, 320), "/bin/second");
    EXPECT_EQ(pathAt(second, 0x1000, 305), "-");
}

TEST_F(SideBandTest, RecordsAreTakenInTheOrderOfTheirTimes)
{
    mmap(300, 5, 0x1000, 0x1000, "/bin/second");
    mmap(100, 5, 0x1000, 0x1000, "/bin/first");
    collect();
    EXPECT_EQ(pathAt(processes.newest(5), 0x1000, 200), "/bin/first");
    EXPECT_EQ(pathAt(processes.newest(5), 0x1000, 300), "/bin/second");
}

TEST_F(SideBandTest, WithoutTimesRecordsStandBetweenTheSamplesWhereTheyAreInTheFile)
{
    setTimes(false);
    mmap(0, 5, 0x1000, 0x1000, "/bin/first");
    sample(0);
    sample(0);
    mmap(0, 5, 0x1000, 0x1000, "/bin/second");
    sample(0);
    collect();
    Process& process = processes.newest(5);
    EXPECT_EQ(pathAt(process, 0x1000, 1), "/bin/first");
    EXPECT_EQ(pathAt(process, 0x1000, 2), "/bin/first");
    EXPECT_EQ(pathAt(process, 0x1000, 3), "/bin/second");
}

TEST_F(SideBandTest, ForksInACircleEnd)
{
    mmap(100, 5, 0x1000, 0x1000, "/bin/a");
    fork(200, 6, 6, 5);
    fork(300, 5, 5, 6);
    collect();
    EXPECT_EQ(pathAt(processes.at(5, 150), 0x1000, 150), "/bin/a");
    EXPECT_EQ(pathAt(processes.newest(6), 0x1000, 250), "/bin/a");
    EXPECT_EQ(pathAt(processes.at(5, 300), 0x1000, 300), "/bin/a");
}

} // namespace
} // namespace samplefold::session
