// What a frame's address was at the tick of its sample.
#include "load_fixture.h"

namespace samplefold::load::testing {
namespace {

namespace context = perfdata::context;
using perfdata::CpuMode;

class StackLoaderTest : public LoadTest {
protected:
    /// The same chain of two frames, time after time.
    std::string chainAt(std::uint64_t tick, std::uint32_t pid = 5)
    {
        return chainOf(pid, {tick, 0x1010, {context::User, 0x1010, 0x2020}});
    }
};

TEST_F(StackLoaderTest, AMappingThatComesInMidRunChangesTheChainFromThatTickOn)
{
    mmap(1, 5, 0x1000, 0x2000, "/bin/p");
    mmap(100, 5, 0x2000, 0x1000, "/lib/l");
    begin();
    EXPECT_EQ(chainAt(50), "/bin/p+10 /bin/p+1020");
    EXPECT_EQ(chainAt(99), "/bin/p+10 /bin/p+1020");
    EXPECT_EQ(chainAt(100), "/bin/p+10 /lib/l+20");
    EXPECT_EQ(chainAt(500), "/bin/p+10 /lib/l+20");
    EXPECT_EQ(chainAt(60), "/bin/p+10 /bin/p+1020") << "and back";
}

TEST_F(StackLoaderTest, NothingOfTheOldProgramIsLeftAfterAnExec)
{
    mmap(1, 5, 0x1000, 0x2000, "/bin/p");
    comm(100, 5, 5, "q", execBit);
    mmap(110, 5, 0x1000, 0x800, "/bin/q");
    begin();
    EXPECT_EQ(chainAt(99), "/bin/p+10 /bin/p+1020");
    EXPECT_EQ(chainAt(105), "-+1010 -+2020");
    EXPECT_EQ(chainAt(110), "/bin/q+10 -+2020");
}

TEST_F(StackLoaderTest, KernelCodeThatComesAndGoesChangesTheChain)
{
    mmap(1, noTask, kernelBase, 0x1000, "[kernel.kallsyms]_text", 0);
    ksymbol(100, kernelBase + 0x2000, 0x100, "bpf_prog");
    ksymbol(200, kernelBase + 0x2000, 0x100, "bpf_prog", true);
    begin();
    const auto at = [this](std::uint64_t tick) {
        return chainOf(5, {tick,
                           kernelBase + 0x2010,
                           {context::Kernel, kernelBase + 0x2010, kernelBase + 0x10},
                           CpuMode::Kernel});
    };
    const std::string unknown = "-+ffffffff81002010 [kernel.kallsyms]+10";
    EXPECT_EQ(at(99), unknown);
    EXPECT_EQ(at(100), "[bpf_prog]+10 [kernel.kallsyms]+10");
    EXPECT_EQ(at(200), unknown);
}

TEST_F(StackLoaderTest, OneChainIsTwoInTwoLivesOfAProcessId)
{
    fork(10, 5, 5, 1);
    mmap(11, 5, 0x1000, 0x2000, "/bin/p");
    exit(100, 5, 5);
    fork(200, 5, 5, 1);
    mmap(201, 5, 0x1000, 0x2000, "/bin/q");
    begin();
    EXPECT_EQ(chainAt(50), "/bin/p+10 /bin/p+1020");
    EXPECT_EQ(chainAt(250), "/bin/q+10 /bin/q+1020");
    EXPECT_EQ(chainAt(60), "/bin/p+10 /bin/p+1020");
    EXPECT_EQ(ask("SELECT p.life, f.path FROM dd_segment_instance i "
                  "JOIN dd_process p ON p.id = i.process "
                  "JOIN dd_module_segment s ON s.id = i.mod_seg "
                  "JOIN dd_module_file f ON f.id = s.module ORDER BY 1"),
              (std::vector<std::string>{"0|/bin/p", "1|/bin/q"}));
}

TEST_F(StackLoaderTest, TheInstanceIsOfTheProcessThatWasSampled)
{
    mmap(1, 5, 0x1000, 0x2000, "/bin/p");
    mmap(1, 6, 0x1000, 0x2000, "/bin/p");
    begin();
    const auto a = sample(5, {10, 0x1010, {}});
    const auto b = sample(6, {11, 0x1010, {}});
    EXPECT_NE(a.seg_inst, b.seg_inst);
    EXPECT_EQ(a.callsite, b.callsite) << "it is one place in the file";
}

TEST_F(StackLoaderTest, AddressesOutsideEveryMappingHaveOnePlaceholderPerProcessAndAddress)
{
    mmap(1, 5, 0x1000, 0x2000, "/bin/p");
    begin();
    const auto first = sample(5, {10, 0x9000, {context::User, 0x9000, 0x1020}});
    const auto again = sample(5, {20, 0x9000, {context::User, 0x9000, 0x1030}});
    const auto next = sample(5, {30, 0x9001, {}});
    const auto elsewhere = sample(6, {40, 0x9000, {}});
    EXPECT_EQ(first.seg_inst, again.seg_inst);
    EXPECT_NE(first.seg_inst, next.seg_inst);
    EXPECT_NE(first.seg_inst, elsewhere.seg_inst);
    EXPECT_EQ(rowsOf("dd_segment_instance WHERE mod_seg IS NULL"), 3);
    run().stacks.reportQuality(run().quality);
    EXPECT_EQ(run().quality.count("samples outside every known mapping"), 4U);
}

TEST_F(StackLoaderTest, APlaceholderThatWasACallerFirstIsTheSampledOnesToo)
{
    begin();
    sample(5, {10, 0x9000, {context::User, 0x9000, 0x9100}});
    sample(5, {20, 0x9100, {}});
    sample(5, {30, 0x9100, {context::User, 0x9100, 0x9000}});
    EXPECT_EQ(rowsOf("dd_segment_instance"), 2);
    EXPECT_EQ(repeatedFrames(), std::vector<std::string>{});
}

TEST_F(StackLoaderTest, AddressesThatStandForNoCodeHaveTheirNumbers)
{
    begin();
    EXPECT_EQ(chainOf(5, {10, 0, {}}), "-+0");
    EXPECT_EQ(chainOf(5, {11, 0 - std::uint64_t{3}, {}}), "-+3");
    EXPECT_EQ(chainOf(5, {12, 0 - std::uint64_t{4}, {}}), "-+fffffffffffffffc");
}

/// The number by which a deferred part is found is new in every sample.
TEST_F(StackLoaderTest, ChainsThatDifferInTheNumberOfTheirDeferredPartAreOne)
{
    mmap(1, noTask, kernelBase, 0x1000, "[kernel.kallsyms]_text", 0);
    begin();
    const auto at = [&](std::uint64_t tick) {
        return sample(5,
                      {tick,
                       kernelBase,
                       {context::Kernel, kernelBase, kernelBase + 4, context::UserDeferred, tick},
                       CpuMode::Kernel});
    };
    const auto first = at(10);
    const std::size_t kept = run().stacks.keptChains();
    EXPECT_EQ(at(11).callsite, first.callsite);
    EXPECT_EQ(run().stacks.keptChains(), kept) << "memory would grow with the samples";
}

TEST_F(StackLoaderTest, NoFrameIsThereTwice)
{
    mmap(1, 5, 0x1000, 0x2000, "/bin/p");
    begin();
    for (std::uint64_t i = 0; i < 300; ++i) {
        sample(5, {10 + i, 0x1000 + i % 7, {context::User, 0, 0x9000 + i % 5, 0x1000 + i % 3}});
    }
    EXPECT_EQ(repeatedFrames(), std::vector<std::string>{});
}

} // namespace
} // namespace samplefold::load::testing
