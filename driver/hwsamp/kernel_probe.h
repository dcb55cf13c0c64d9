#pragma once

#include <linux/perf_event.h>

#include <cstdint>
#include <span>

namespace samplefold::hwsamp {

enum class fit_t : std::uint8_t {
    fits,      ///< the kernel takes these events as one group
    tooMany,   ///< it takes them alone but not together
    cannotTell ///< it does not take them at all: no such PMU, not allowed
};

/// Asks the kernel to count these events of this thread at the same time. Nothing is counted.
fit_t askKernel(std::span<const perf_event_attr> events);

} // namespace samplefold::hwsamp
