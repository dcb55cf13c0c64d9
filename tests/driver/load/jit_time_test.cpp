// What generated code was there when, and how long an answer holds.
#include "jit_fixture.h"

namespace samplefold::load::testing {
namespace {

using JitTimeTest = JitCodeTest;

TEST_F(JitTimeTest, AMapBesideADumpExplainsWhatTheDumpDoesNot)
{
    DumpBuilder dump;
    dump.load(100, 0x9000, "f", 16);
    dump.load(200, 0x9004, "g", 4);
    addFile(dumpName(), dump.bytes());
    addFile(mapName(), "9000 8 m\na000 8 n\n");
    comm(1, jitPid, jitPid, "p");
    begin();
    EXPECT_EQ(at(0x9001, 50), "m+1") << "until the dump does";
    EXPECT_EQ(at(0x9001, 100), "f+1");
    EXPECT_EQ(at(0x9001, 200), "m+1") << "again";
    EXPECT_EQ(at(0xa001, 50), "n+1");
    EXPECT_EQ(at(0x900c, 50), "-");
    for (const std::uint64_t address : {0x9001, 0x9005, 0x900c, 0xa001, 0xb000})
        expectSteady(address, 90, 210);
}

TEST_F(JitTimeTest, AnswersHoldInTheirSpanThroughLoadsAndMoves)
{
    DumpBuilder dump;
    dump.load(10, 0x9000, "f", 8, 1);
    dump.load(12, 0x9010, "g", 8, 2);
    dump.move(20, 0x9000, 0x9020, 8, 1);
    dump.load(22, 0x9004, "h", 16, 3);
    dump.move(30, 0x9020, 0x9000, 8, 1);
    dump.load(31, 0x9000, "i", 64, 4);
    addFile(dumpName(), dump.bytes());
    comm(1, jitPid, jitPid, "p");
    begin();
    for (std::uint64_t address = 0x8fff; address < 0x9042; ++address)
        expectSteady(address, 5, 40);
}

/// Three time stamps per tick, so that loads lie between ticks.
TEST_F(JitTimeTest, AnswersHoldInTheirSpanOnTheClockOfTheProcessor)
{
    DumpBuilder::header_t header;
    header.flags = 1;
    DumpBuilder dump(header);
    for (std::uint64_t i = 0; i < 20; ++i)
        dump.load(100 + 7 * i, 0x9000 + (i * 5) % 13, "f" + std::to_string(i), 4);
    addFile(dumpName(), dump.bytes());
    timeConversion(16, 21845, 1000);
    monotonic = false;
    comm(1, jitPid, jitPid, "p");
    begin();
    EXPECT_EQ(at(0x9000, 1032), "-") << "before the first";
    EXPECT_NE(at(0x9000, 1034), "-");
    for (std::uint64_t address = 0x9000; address < 0x9012; ++address)
        expectSteady(address, 1025, 1090);
}

/// As it is on most machines: the processor's counter began before the kernel's clock.
TEST_F(JitTimeTest, TimeStampsThatBeganBeforeTheKernelsClockAreConverted)
{
    DumpBuilder::header_t header;
    header.flags = 1;
    DumpBuilder dump(header);
    dump.load(6000, 0x9000, "f", 16);
    addFile(dumpName(), dump.bytes());
    timeConversion(1, 1, 0 - std::uint64_t{1000});
    monotonic = false;
    comm(1, jitPid, jitPid, "p");
    begin();
    EXPECT_EQ(at(0x9000, 1999), "-");
    EXPECT_EQ(at(0x9000, 2000), "f+0");
}

TEST_F(JitTimeTest, TheSecondDumpOfAProcessEndsItsOwnCode)
{
    DumpBuilder first;
    first.load(1000, 0x9000, "late", 16);
    mmap(1, jitPid, 0x5000, 0x1000, addFile("jit-1234.dump", first.bytes()));
    DumpBuilder second;
    second.load(100, 0x9000, "f", 16);
    second.load(200, 0x9008, "g", 16);
    addFile(dumpName(), second.bytes());
    begin();
    EXPECT_EQ(at(0x9000, 150), "f+0");
    EXPECT_EQ(at(0x9000, 250), "-");
    EXPECT_FALSE(ask(0x9000, 150).steady.holds(250));
}

TEST_F(JitTimeTest, CodeCountsAsThereAllTheTimeWhereTheClocksDiffer)
{
    DumpBuilder::header_t header;
    header.flags = 1; // time stamps, and no conversion in the recording
    DumpBuilder dump(header);
    dump.load(100, 0x9000, "f", 16);
    addFile(dumpName(), dump.bytes());
    comm(1, jitPid, jitPid, "p");
    begin();
    EXPECT_EQ(at(0x9000, 1), "f+0");
}

} // namespace
} // namespace samplefold::load::testing
