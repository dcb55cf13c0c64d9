// Stacks of deeptree against the chains that perf prints for the same samples, and against its
// source.
#include "deeptree.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace samplefold::unwind::testing {
namespace {

constexpr std::uint64_t g_kernelHalf = std::uint64_t{1} << 63;

std::vector<perfdata::testing::PrintedChain> printedChains()
{
    const perfdata::testing::OracleCase oracle{"deeptree-dwarf", std::string(SF_TEST_DATA_DIR) +
                                                                     "/perf/deeptree-dwarf"};
    auto chains = perfdata::testing::parseChains(oracle.load("callchain-abs.txt").value());
    for (auto& chain : chains)
        std::erase_if(chain.ips, [](std::uint64_t ip) { return ip >= g_kernelHalf; });
    return chains;
}

/// As perf prints them: of a caller the byte before the return address.
std::vector<std::uint64_t> asPrinted(std::vector<std::uint64_t> frames)
{
    for (std::size_t i = 1; i < frames.size(); ++i)
        --frames[i];
    return frames;
}

TEST(OracleChain, FramesAreThoseOfPerfUpToTheModuleWithoutAFile)
{
    Deeptree recording;
    const auto [libcFirst, libcLast] = recording.codeOf("/usr/lib/x86_64-linux-gnu/libc.so.6");
    const auto isLibc = [first = libcFirst, last = libcLast](std::uint64_t ip) {
        return first <= ip && ip <= last;
    };
    const auto printed = printedChains();
    const auto unwound = recording.unwindAll();
    ASSERT_EQ(unwound.size(), printed.size());
    std::size_t ended = 0;
    for (std::size_t i = 0; i < printed.size(); ++i) {
        SCOPED_TRACE("sample " + std::to_string(i));
        auto expected = printed[i].ips;
        const auto libc = std::find_if(expected.begin(), expected.end(), isLibc);
        if (libc != expected.end()) expected.erase(libc + 1, expected.end());
        EXPECT_EQ(asPrinted(unwound[i].frames), expected);
        ended += unwound[i].stop == Stop::noFile ? 1 : 0;
    }
    EXPECT_GE(ended, printed.size() - 1) << "libc is no file here";
}

/// The outermost frame of main's module by its source: _start calls libc, libc calls main.
TEST(OracleChain, EveryStackOfTheProgramGoesThroughItsLevelsInOrder)
{
    Deeptree recording;
    const auto [first, last] = recording.codeOf("/opt/sfdemo/deeptree");
    // Return addresses in level_12's caller up to main, from the program's disassembly.
    const std::vector<std::uint64_t> levels{0x1253, 0x1266, 0x1279, 0x128c, 0x129f, 0x12b2, 0x12c5,
                                            0x12d8, 0x12eb, 0x12fe, 0x1311, 0x1365, 0x13a9};
    const std::uint64_t start = first - 0x1000;
    std::size_t whole = 0;
    for (const Unwound& stack : recording.unwindAll()) {
        std::vector<std::uint64_t> inProgram;
        for (const std::uint64_t frame : stack.frames) {
            if (first <= frame && frame <= last) inProgram.push_back(frame - start);
        }
        const auto tail =
            std::search(inProgram.begin(), inProgram.end(), levels.begin(), levels.end());
        whole += tail != inProgram.end() && tail + 13 == inProgram.end() ? 1 : 0;
    }
    EXPECT_EQ(whole, 292U) << "all but one sample of the start and one between the levels";
}

TEST(OracleChain, AShorterCopyOfTheStackGivesTheInnerPartOfTheChain)
{
    Deeptree recording;
    const auto whole = recording.unwindAll();
    recording.stackBytes = 512;
    const auto cut = recording.unwindAll();
    ASSERT_EQ(cut.size(), whole.size());
    std::size_t cutOff = 0;
    for (std::size_t i = 0; i < whole.size(); ++i) {
        const auto& inner = cut[i].frames;
        ASSERT_LE(inner.size(), whole[i].frames.size());
        EXPECT_TRUE(std::equal(inner.begin(), inner.end(), whole[i].frames.begin()));
        if (inner.size() < whole[i].frames.size()) {
            EXPECT_EQ(cut[i].stop, Stop::stackEnd);
            ++cutOff;
        }
    }
    EXPECT_GT(cutOff, 50U) << "the recursion is deeper than 512 bytes";
}

TEST(OracleChain, AModuleThatIsNotFoundEndsTheStackAtItsFrame)
{
    Deeptree recording;
    recording.files.erase("/opt/sfdemo/deeptree");
    for (const Unwound& stack : recording.unwindAll()) {
        EXPECT_EQ(stack.stop, Stop::noFile);
        EXPECT_LE(stack.frames.size(), 2U) << "one in libsfleaf.so may stand before it";
    }
}

TEST(OracleChain, AnotherMachineIsNotUnwound)
{
    Deeptree recording;
    for (const Unwound& stack : recording.unwindAll(Machine::other)) {
        EXPECT_EQ(stack.stop, Stop::machine);
        EXPECT_TRUE(stack.frames.empty());
    }
}

} // namespace
} // namespace samplefold::unwind::testing
