// Names of events for recordings that do not carry them.
#pragma once

#include "perfdata/event.h"

#include <string>

namespace samplefold::perfdata {

/// The name by which perf lists an event of this attribute when nobody named it: the canonical name
/// with the privilege and precision modifiers, e.g. "cycles:u", "L1-dcache-load-misses", "raw
/// 0x1c2".
[[nodiscard]] std::string generatedEventName(const EventAttr& attr);

} // namespace samplefold::perfdata
