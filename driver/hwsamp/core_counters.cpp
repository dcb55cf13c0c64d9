#include "hwsamp/core_counters.h"

#include <cpuid.h>

#include <algorithm>
#include <set>
#include <utility>

namespace samplefold::hwsamp {
namespace {

constexpr int g_assumedCounters = 4;
constexpr unsigned g_countersLeaf = 10;

/// General counters of a logical processor; 0 where CPUID does not tell.
int countersByCpuid()
{
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (__get_cpuid(g_countersLeaf, &a, &b, &c, &d) == 0) return 0;
    const unsigned version = a & 0xff;
    return version == 0 ? 0 : static_cast<int>((a >> 8) & 0xff);
}

} // namespace

bool CoreCounters::suffice(std::span<const Event> events) const
{
    std::set<std::pair<std::uint32_t, std::uint64_t>> onFixed;
    int onGeneral = 0;
    for (const Event& event : events) {
        const bool takesFixed =
            fitsFixedCounter(event) && std::cmp_less(onFixed.size(), fixed) &&
            onFixed.insert({event.attributes->type, event.attributes->config}).second;
        if (!takesFixed) ++onGeneral;
    }
    return onGeneral <= general;
}

CoreCounters countersOf(const std::optional<PmuDescription>& corePmu)
{
    if (!corePmu || corePmu->generalCounters <= 0)
        return {.general = g_assumedCounters, .fixed = 0, .source = "an assumption"};
    const int limit = countersByCpuid();
    const bool isCut = limit > 0 && limit < corePmu->generalCounters;
    return {.general = isCut ? limit : corePmu->generalCounters,
            .fixed = std::max(corePmu->fixedCounters, 0),
            .source = "libpfm4 (" + corePmu->name + (isCut ? ") and CPUID" : ")")};
}

} // namespace samplefold::hwsamp
