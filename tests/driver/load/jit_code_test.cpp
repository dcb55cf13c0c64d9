#include "jit_fixture.h"

#include "load/load_error.h"

namespace samplefold::load::testing {
namespace {

namespace context = perfdata::context;

constexpr std::uint64_t g_never = session::AddressSpace::never;

TEST_F(JitCodeTest, AProcessWithoutFilesHasNoCode)
{
    mmap(1, jitPid, 0x1000, 0x1000, "/bin/p");
    begin();
    EXPECT_FALSE(hasCode(jitPid));
    EXPECT_EQ(frame(0x9000, 10), "-+9000");
}

TEST_F(JitCodeTest, ADumpTellsWhatWasThereAtATick)
{
    DumpBuilder dump;
    dump.load(100, 0x9000, "f", 16);
    dump.load(200, 0x9008, "g", 16);
    addFile(dumpName(), dump.bytes());
    comm(1, jitPid, jitPid, "p");
    begin();
    EXPECT_TRUE(hasCode(jitPid));
    EXPECT_EQ(at(0x9004, 99), "-");
    EXPECT_EQ(at(0x9004, 100), "f+4");
    EXPECT_EQ(at(0x9004, 199), "f+4");
    EXPECT_EQ(at(0x9004, 200), "-") << "other code was laid over a part of it";
    EXPECT_EQ(at(0x9008, 200), "g+0");
    EXPECT_EQ(at(0x9018, 200), "-");
}

TEST_F(JitCodeTest, AMapTellsWhatWasThereAllTheTime)
{
    addFile(mapName(), "9000 10 f\n");
    comm(1, jitPid, jitPid, "p");
    begin();
    EXPECT_EQ(at(0x900f, 1), "f+15");
    EXPECT_EQ(at(0x900f, g_never), "f+15");
    EXPECT_EQ(at(0x9010, 1), "-");
    EXPECT_EQ(ask(0x9000, 7).steady.until, g_never);
}

TEST_F(JitCodeTest, ADumpIsFoundByTheMappingThatTheRecordingShows)
{
    DumpBuilder dump;
    dump.load(100, 0x9000, "f", 16);
    const std::string path = addFile("jit-1234.dump", dump.bytes());
    mmap(1, jitPid, 0x5000, 0x1000, path);
    begin();
    EXPECT_EQ(at(0x9000, 100), "f+0");
}

TEST_F(JitCodeTest, ADumpThatWasMappedElsewhereIsFoundBesideTheRecording)
{
    DumpBuilder dump;
    dump.load(100, 0x9000, "f", 16);
    addFile("jit-1234.dump", dump.bytes());
    mmap(1, jitPid, 0x5000, 0x1000, "/home/of/another/machine/jit-1234.dump");
    begin();
    EXPECT_EQ(at(0x9000, 100), "f+0");
}

TEST_F(JitCodeTest, ADumpIsFoundInADirectoryThatIsNamed)
{
    const samplefold_test::TemporaryFolder other;
    DumpBuilder dump;
    dump.load(100, 0x9000, "f", 16);
    other.addFile(dumpName(), dump.bytes());
    jit.directories.push_back(other.path());
    comm(1, jitPid, jitPid, "p");
    begin();
    EXPECT_EQ(at(0x9000, 100), "f+0");
}

std::string complaintAbout(const std::string& directory)
{
    try {
        checkJitDirectories({true, {directory}});
    } catch (const LoadError& error) {
        return error.what();
    }
    return "none";
}

TEST_F(JitCodeTest, ADirectoryThatIsMissingIsAnErrorWithItsName)
{
    const std::string missing = folder.path("missing");
    EXPECT_EQ(complaintAbout(missing),
              missing + ": no such directory for JIT data: check --jit-dir");
    EXPECT_EQ(complaintAbout(folder.path()), "none");
}

TEST_F(JitCodeTest, ADirectoryWhoseNameWouldBeTakenApartIsRefused)
{
    EXPECT_NE(complaintAbout(folder.addFolder("a;b")).find("cannot have \";\""), std::string::npos);
}

TEST_F(JitCodeTest, ADumpThatIsGoneIsTold)
{
    mmap(1, jitPid, 0x5000, 0x1000, "/nowhere/jit-1234.dump");
    begin();
    EXPECT_FALSE(hasCode(jitPid));
    EXPECT_EQ(run().quality.count("jitdump not found: /nowhere/jit-1234.dump"), 1U);
}

TEST_F(JitCodeTest, NothingIsReadWhenItIsOff)
{
    addFile(mapName(), "9000 10 f\n");
    jit.enabled = false;
    comm(1, jitPid, jitPid, "p");
    begin();
    EXPECT_FALSE(hasCode(jitPid));
    EXPECT_EQ(frame(0x9000, 10), "-+9000");
}

TEST_F(JitCodeTest, WhatAnUnusableFileCannotAnswerIsCountedOncePerAddress)
{
    addFile(mapName(), "no map at all\n");
    mmap(1, jitPid, 0x1000, 0x1000, "/bin/p");
    begin();
    EXPECT_EQ(frame(0x9000, 10), "-+9000");
    EXPECT_EQ(frame(0x9000, 20), "-+9000");
    EXPECT_EQ(chainOf(jitPid, {30, 0x9000, {context::User, 0x9000, 0x1010}}), "-+9000 /bin/p+10");
    EXPECT_EQ(frame(0xa000, 40), "-+a000");
    run().jit.reportQuality();
    EXPECT_EQ(run().quality.count("frames whose JIT data could not be asked"), 2U);
}

TEST_F(JitCodeTest, OnlyThePartOfAMappingOverWhichCodeWasLaidEnds)
{
    DumpBuilder dump;
    dump.load(100, 0x1800, "f", 16);
    dump.load(150, 0x1c00, "g", 16);
    const std::string path = addFile(dumpName(), dump.bytes());
    mmap(1, jitPid, 0x1000, 0x2000, "/bin/p");
    begin();
    EXPECT_EQ(frame(0x1800, 98), "/bin/p+800");
    EXPECT_TRUE(frame(0x1800, 100).starts_with(path + ":f+")) << frame(0x1800, 100);
    EXPECT_TRUE(frame(0x1c00, 150).starts_with(path + ":g+")) << frame(0x1c00, 150);
    for (const std::uint64_t tick : {98, 100, 200}) {
        EXPECT_EQ(frame(0x17ff, tick), "/bin/p+7ff");
        EXPECT_EQ(frame(0x1810, tick), "/bin/p+810");
        EXPECT_EQ(frame(0x2000, tick), "/bin/p+1000");
    }
    EXPECT_EQ(rowsOf("dd_segment_instance i JOIN dd_module_segment s ON s.id = i.mod_seg "
                     "WHERE s.kind = 1"),
              1)
        << "the parts are one mapping";
}

TEST_F(JitCodeTest, AMappingLaidOverGeneratedCodeIsThere)
{
    DumpBuilder dump;
    dump.load(100, 0x9000, "f", 16);
    addFile(dumpName(), dump.bytes());
    mmap(1, jitPid, 0x1000, 0x1000, "/bin/p");
    mmap(200, jitPid, 0x9000, 0x1000, "/lib/l");
    begin();
    EXPECT_NE(frame(0x9004, 199), "-+9004");
    EXPECT_EQ(frame(0x9004, 200), "/lib/l+4");
}

TEST_F(JitCodeTest, ChildrenOfAProcessWithCodeKeepWhatItHadMapped)
{
    addFile(mapName(), "9000 10 f\n");
    mmap(1, jitPid, 0x1000, 0x1000, "/bin/p");
    mmap(1, jitPid, 0x8000, 0x4000, "//anon");
    mmap(2, jitPid, 0xa000, 0x1000, "/lib/l");
    fork(50, 6, 6, jitPid);
    begin();
    EXPECT_EQ(frame(0x1010, 60, 6), "/bin/p+10");
    EXPECT_EQ(frame(0xa010, 60, 6), "/lib/l+10");
    EXPECT_EQ(frame(0x8010, 60, 6), "//anon+10") << "the child has no file of its own";
    EXPECT_EQ(frame(0x8010, 60), "-+8010") << "in its parent that is no code";
    EXPECT_EQ(frame(0x9000, 60), folder.path(mapName()) + ":f+9000");
}

TEST_F(JitCodeTest, AMapDoesNotSpeakForAddressesThatStandForNoCode)
{
    addFile(mapName(), "0 20 zero\nfffffffffffffff0 10 top\n");
    mmap(1, jitPid, 0x1000, 0x1000, "/bin/p");
    begin();
    for (std::uint64_t i = 0; i < 4; ++i) {
        EXPECT_EQ(chainOf(jitPid, {10 + i, 0x1010 + i, {context::User, 0x1010, 0}}),
                  "/bin/p+1" + std::to_string(i) + " -+0");
        EXPECT_EQ(frame(0, 20 + i), "-+0");
        EXPECT_EQ(frame(0 - std::uint64_t{1}, 30 + i), "-+1");
    }
    EXPECT_EQ(repeatedFrames(), std::vector<std::string>{});
    EXPECT_EQ(rowsOf("dd_segment_instance WHERE mod_seg IS NULL"), 2);
}

/// The dump's code comes later, so that the map is asked by address.
TEST_F(JitCodeTest, LinesOfAMapThatBeginAtOneAddressKeepTheirNames)
{
    DumpBuilder dump;
    dump.load(1000, 0x9000, "late", 0x100);
    addFile(dumpName(), dump.bytes());
    addFile(mapName(), "9000 64 long\n9000 32 short\n");
    comm(1, jitPid, jitPid, "p");
    begin();
    const std::string path = folder.path(mapName());
    EXPECT_EQ(frame(0x9010, 10), path + ":short+9010");
    EXPECT_EQ(frame(0x9040, 20), path + ":long+9040");
}

} // namespace
} // namespace samplefold::load::testing
