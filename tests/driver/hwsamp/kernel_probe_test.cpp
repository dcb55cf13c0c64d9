#include "hwsamp/kernel_probe.h"

#include <gtest/gtest.h>

#include <vector>

namespace samplefold::hwsamp {
namespace {

perf_event_attr probed(std::uint32_t type, std::uint64_t config)
{
    perf_event_attr attributes{};
    attributes.size = sizeof attributes;
    attributes.type = type;
    attributes.config = config;
    return attributes;
}

TEST(KernelProbe, ManySoftwareEventsFitWhereTheyAreAllowed)
{
    const perf_event_attr clock = probed(PERF_TYPE_SOFTWARE, PERF_COUNT_SW_TASK_CLOCK);
    if (askKernel({&clock, 1}) != fit_t::fits) GTEST_SKIP() << "no events are allowed here";
    EXPECT_EQ(askKernel(std::vector<perf_event_attr>(40, clock)), fit_t::fits);
}

TEST(KernelProbe, OfAnEventThatIsNoneTheKernelCannotTell)
{
    const perf_event_attr none = probed(PERF_TYPE_SOFTWARE, 0xffff);
    EXPECT_EQ(askKernel({&none, 1}), fit_t::cannotTell);
}

TEST(KernelProbe, NoEventsFit)
{
    EXPECT_EQ(askKernel({}), fit_t::fits);
}

TEST(KernelProbe, MoreCyclesThanAnyCoreHasCountersDoNotFit)
{
    const perf_event_attr cycles = probed(PERF_TYPE_HARDWARE, PERF_COUNT_HW_CPU_CYCLES);
    if (askKernel({&cycles, 1}) != fit_t::fits)
        GTEST_SKIP() << "the kernel offers no core PMU here";
    EXPECT_EQ(askKernel(std::vector<perf_event_attr>(64, cycles)), fit_t::tooMany);
}

} // namespace
} // namespace samplefold::hwsamp
