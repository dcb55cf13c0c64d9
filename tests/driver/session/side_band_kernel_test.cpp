// Kernel mappings, build ids and what the recorder says was lost.

#include "side_band_fixture.h"

namespace samplefold::session {
namespace {

using testing::SideBandTest;
using lines_t = std::vector<std::string>;

constexpr std::uint64_t g_symbol = 0xffffffffc0400000;
constexpr std::uint32_t g_buildIdFeature = 2;

/// An entry of the table of build ids: the head of a record, the pid, 24 bytes for the id, the
/// path.
perfdata::testing::Bytes buildIdEntry(std::uint8_t filler, std::string_view path)
{
    perfdata::testing::Bytes body;
    body.u32(0xffffffff);
    for (int i = 0; i < 20; ++i)
        body.u8(filler);
    body.zeros(4).paddedText(path);
    return perfdata::testing::record(0, body);
}

std::string repeatedHex(const char* byte)
{
    std::string text;
    for (int i = 0; i < 20; ++i)
        text += byte;
    return text;
}

TEST_F(SideBandTest, KernelMappingsBelongToTheKernel)
{
    mmap(0, noTask, 0xffffffff81000000, 0x1000000, "[kernel.kallsyms]_text", 0xffffffff81000000);
    collect();
    EXPECT_EQ(pathAt(processes.kernel(), 0xffffffff81234567, 1), "[kernel.kallsyms]");
    Place place;
    ASSERT_TRUE(processes.kernel().space.find(0xffffffff81234567, 1, place));
    EXPECT_EQ(place.rva, 0xffffffff81234567);
}

TEST_F(SideBandTest, KernelCodeMadeAtRunTimeComesAndGoes)
{
    ksymbol(100, g_symbol, 0x80, "bpf_prog_1");
    ksymbol(200, g_symbol, 0x80, "bpf_prog_1", true);
    ksymbol(300, g_symbol, 0x40, "bpf_prog_2");
    collect();
    Process& kernel = processes.kernel();
    EXPECT_EQ(pathAt(kernel, g_symbol, 99), "-");
    EXPECT_EQ(pathAt(kernel, g_symbol + 0x7f, 100), "[bpf_prog_1]");
    EXPECT_EQ(pathAt(kernel, g_symbol + 0x80, 100), "-");
    EXPECT_EQ(pathAt(kernel, g_symbol, 199), "[bpf_prog_1]");
    EXPECT_EQ(pathAt(kernel, g_symbol, 200), "-");
    EXPECT_EQ(pathAt(kernel, g_symbol, 300), "[bpf_prog_2]");
    EXPECT_EQ(pathAt(kernel, g_symbol + 0x40, 300), "-");
}

TEST_F(SideBandTest, TheEndOfOneSymbolLeavesTheOthers)
{
    ksymbol(100, g_symbol, 0x80, "bpf_prog_1");
    ksymbol(100, g_symbol + 0x1000, 0x80, "bpf_prog_2");
    ksymbol(200, g_symbol, 0x80, "bpf_prog_1", true);
    collect();
    EXPECT_EQ(pathAt(processes.kernel(), g_symbol + 0x1000, 300), "[bpf_prog_2]");
}

TEST_F(SideBandTest, ABuildIdComesFromTheTableOfTheFile)
{
    mmap(100, 5, 0x1000, 0x1000, "/bin/a");
    mmap(100, 5, 0x4000, 0x1000, "/bin/b");
    file().feature(g_buildIdFeature, buildIdEntry(0xab, "/bin/a"));
    collect();
    EXPECT_EQ(ask("SELECT path, build_id FROM dd_module_file ORDER BY path"),
              (lines_t{"/bin/a|" + repeatedHex("ab"), "/bin/b|-"}));
}

TEST_F(SideBandTest, ABuildIdComesFromTheMappingBeforeTheTable)
{
    Bytes body;
    body.u32(5).u32(5).u64(0x1000).u64(0x1000).u64(0);
    body.u8(4).u8(0).u16(0).u8(0x0a).u8(0xbc).u8(0xde).u8(0xf0).zeros(16);
    body.u32(5).u32(2).paddedText("/bin/a");
    add(10, body, 100, buildIdBit);
    file().feature(g_buildIdFeature, buildIdEntry(0xab, "/bin/a"));
    collect();
    EXPECT_EQ(ask("SELECT path, build_id FROM dd_module_file"), (lines_t{"/bin/a|0abcdef0"}));
    EXPECT_EQ(ask("SELECT protection FROM dd_module_segment"), (lines_t{"5"}));
}

TEST_F(SideBandTest, LossesThrottlesAndChangesOfCodeAreCounted)
{
    Bytes lost;
    lost.u64(0).u64(17);
    add(2, lost, 100, 0);
    add(2, lost, 110, 0);
    Bytes lostSamples;
    lostSamples.u64(5);
    add(13, lostSamples, 120, 0);
    Bytes throttle;
    throttle.u64(130).u64(0).u64(0);
    add(5, throttle, 130, 0);
    add(6, throttle, 140, 0);
    Bytes poke;
    poke.u64(g_symbol).u16(4).u16(4).words({0x9090909090909090}).zeros(4);
    add(20, poke, 150, 0);
    collect();
    EXPECT_EQ(quality.count("records lost by the recorder"), 34U);
    EXPECT_EQ(quality.count("samples lost by the recorder"), 5U);
    EXPECT_EQ(quality.count("times that the kernel throttled sampling"), 1U)
        << "the end of one is none";
    EXPECT_EQ(quality.count("changes of kernel code that were skipped"), 1U);
}

TEST_F(SideBandTest, RecordsOfUnknownTypesAreCountedByType)
{
    Bytes body;
    body.u64(1);
    file().add(50, body).add(50, body).add(120, body);
    mmap(100, 5, 0x1000, 0x1000, "/bin/a");
    collect();
    EXPECT_EQ(quality.count("records of unknown type 50"), 2U);
    EXPECT_EQ(quality.count("records of unknown type 120"), 1U);
    EXPECT_EQ(quality.count("records of unknown type 1"), 0U);
}

} // namespace
} // namespace samplefold::session
