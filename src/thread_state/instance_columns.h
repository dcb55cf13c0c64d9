#pragma once

#include <cstdint>

// Columns of a sample instance; keys, integers and doubles are numbered apart, the timestamp is the
// last tick.
namespace samplefold_1 {

namespace instance_key {
inline constexpr std::uint16_t sample = 0, callsite = 1, eventType = 2, cpu = 3, thread = 4,
                               nextEventType = 5, nextCallsite = 6;
}
namespace instance_integer {
inline constexpr std::uint16_t reservedValue = 0, count = 1, startTsc = 2;
}
namespace instance_double {
inline constexpr std::uint16_t rate = 0;
}

} // namespace samplefold_1
