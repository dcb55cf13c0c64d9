#pragma once

#include "hwsamp/event_kinds.h"
#include "hwsamp/pfm.h"

#include <span>
#include <string>

namespace samplefold::hwsamp {

/// Counters of a core, and who told.
struct CoreCounters {
    int general = 0;
    int fixed = 0;
    std::string source;

    /// Whether there are counters for all of these at the same time. A fixed counter takes one
    /// event of those that it fits, each event but once; all others need a general one.
    bool suffice(std::span<const Event> events) const;
};

/// The counters that libpfm4 gives the core's PMU, no more than CPUID tells where it does; four
/// general ones where nobody knows, as in a container on an unknown processor.
CoreCounters countersOf(const std::optional<PmuDescription>& corePmu);

} // namespace samplefold::hwsamp
