// Chains whose user part the recording holds as a copy of the stack.
#include "load_fixture.h"

#include <optional>

namespace samplefold::load::testing {
namespace {

namespace context = perfdata::context;
using perfdata::CpuMode;
using unwind::StackUnwinder;

constexpr std::uint64_t g_base = 0x555555554000;
constexpr std::uint64_t g_stack = 0x7ffc00001000;
constexpr std::uint64_t g_kernel = 0xffffffff81000000;
/// Bits of the recorded registers: bp, sp, ip.
constexpr std::uint64_t g_mask = 1U << 6 | 1U << 7 | 1U << 8;

/// In deeptree: the call in level_12, the return addresses in level_11 and level_10.
constexpr std::uint64_t g_level12 = 0x1207;
constexpr std::uint64_t g_level11 = 0x1253;
constexpr std::uint64_t g_level10 = 0x1266;

class UnwoundChain : public LoadTest {
protected:
    UnwoundChain()
    {
        mmap(1, 5, g_base, 0x4000, "/opt/deeptree");
        mmap(1, noTask, g_kernel, 0x1000, "[kernel.kallsyms]_text", 0);
    }

    void beginUnwinding(bool stacksOn = true)
    {
        begin(stacksOn);
        m_loader.emplace(run().context, run().places, run().processes.kernel(), &m_unwinder);
    }
    StackLoader& loader() { return *m_loader; }

    /// A stack in level_12 below level_11 and level_10, by the layout of their machine code. It
    /// goes on above where the copy ends, unless it is closed by a return address of 0.
    static std::vector<std::uint64_t> words(bool closed, std::uint64_t local = 0)
    {
        std::vector<std::uint64_t> stack{
            local, 0, g_stack + 32, g_base + g_level11, g_stack + 48, g_base + g_level10};
        if (closed) stack.insert(stack.end(), {0, 0});
        return stack;
    }

    samplefold_1::pmu_sample_attribute_t
    settle(const Told& told, const std::vector<std::uint64_t>& stack, std::uint64_t abi = 2)
    {
        const std::vector<std::uint64_t> registers{g_stack + 16, g_stack, g_base + g_level12};
        perfdata::Sample sample;
        sample.event = &run().event;
        sample.has = perfdata::sampleBit::Ip | perfdata::sampleBit::Tid |
                     perfdata::sampleBit::Time | perfdata::sampleBit::Callchain |
                     perfdata::sampleBit::RegsUser | perfdata::sampleBit::StackUser;
        sample.ip = told.ip;
        sample.time = told.tick;
        sample.misc = static_cast<std::uint16_t>(told.mode);
        sample.callchain = {reinterpret_cast<const std::byte*>(told.chain.data()),
                            told.chain.size()};
        if (abi != 0) {
            sample.userRegs = {
                abi,
                g_mask,
                {reinterpret_cast<const std::byte*>(registers.data()), registers.size()}};
        }
        sample.userStack = std::as_bytes(std::span(stack));
        samplefold_1::pmu_sample_attribute_t attr;
        m_loader->settle(sample, run().processes.at(5, told.tick), told.tick, {}, attr);
        return attr;
    }
    std::string unwound(const Told& told, const std::vector<std::uint64_t>& stack,
                        std::uint64_t abi = 2)
    {
        return chainText(frames(), settle(told, stack, abi).callsite.value());
    }

private:
    std::string m_file = std::string(SF_TEST_DATA_DIR) + "/perf/binaries/deeptree";
    StackUnwinder m_unwinder{[this](std::uint32_t) -> const std::string& { return m_file; },
                             unwind::Machine::x86_64};
    std::optional<StackLoader> m_loader;
};

const std::string g_inner = "/opt/deeptree+1207 /opt/deeptree+1253 /opt/deeptree+1266";

TEST_F(UnwoundChain, TakesItsUserPartFromTheStack)
{
    beginUnwinding();
    EXPECT_EQ(unwound({10, g_base + g_level12, {}}, words(true)), g_inner);
}

TEST_F(UnwoundChain, EndsInTheMarkOfACutWhereTheCopyEnds)
{
    beginUnwinding();
    EXPECT_EQ(unwound({10, g_base + g_level12, {}}, words(false)), g_inner + " -+1");
    loader().reportQuality(run().quality);
    EXPECT_EQ(run().quality.count("call stacks that ended early: the copy of the stack ends"), 1U);
}

TEST_F(UnwoundChain, KeepsTheKernelsPartInFront)
{
    beginUnwinding();
    const std::string kernel = "[kernel.kallsyms]+10 [kernel.kallsyms]+20 ";
    EXPECT_EQ(unwound({10,
                       g_kernel + 0x10,
                       {context::Kernel, g_kernel + 0x10, g_kernel + 0x20},
                       CpuMode::Kernel},
                      words(true)),
              kernel + g_inner);
    EXPECT_EQ(unwound({11,
                       g_kernel + 0x10,
                       {context::Kernel, g_kernel + 0x10, g_kernel + 0x20, context::User,
                        g_base + g_level12},
                       CpuMode::Kernel},
                      words(true)),
              kernel + g_inner)
        << "the sampled user address stands in the chain as well";
}

TEST_F(UnwoundChain, IsNotUnwoundWhenTheKernelGaveItsUserPart)
{
    beginUnwinding();
    EXPECT_EQ(
        unwound({10, g_base + g_level12, {context::User, g_base + g_level12, g_base + 0x1300}},
                words(true)),
        "/opt/deeptree+1207 /opt/deeptree+1300");
}

TEST_F(UnwoundChain, OfOtherBytesWithTheSameFramesIsKeptOnce)
{
    beginUnwinding();
    const auto first = settle({10, g_base + g_level12, {}}, words(true, 1));
    const std::size_t kept = loader().keptChains();
    EXPECT_EQ(settle({11, g_base + g_level12, {}}, words(true, 2)).callsite, first.callsite);
    EXPECT_EQ(loader().keptChains(), kept) << "memory would grow with the samples";
}

TEST_F(UnwoundChain, WithoutRegistersStaysAndIsCounted)
{
    beginUnwinding();
    EXPECT_EQ(
        unwound({10, g_kernel + 0x10, {context::Kernel, g_kernel + 0x10}, CpuMode::Kernel}, {}, 0),
        "[kernel.kallsyms]+10");
    loader().reportQuality(run().quality);
    EXPECT_EQ(run().quality.count("call stacks not unwound: no user registers in the sample"), 1U);
}

TEST_F(UnwoundChain, IsThePlaceAloneWithCallStacksOff)
{
    beginUnwinding(false);
    const auto attr = settle({10, g_base + g_level12, {}}, words(false));
    EXPECT_FALSE(attr.callsite.exist());
    loader().reportQuality(run().quality);
    EXPECT_EQ(run().quality.count("call stacks that ended early: the copy of the stack ends"), 0U);
}

} // namespace
} // namespace samplefold::load::testing
