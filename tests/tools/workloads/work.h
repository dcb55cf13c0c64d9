// What the workloads share: functions that stay functions, and work that is not optimised away.
#pragma once

#include <cstdint>

/// Neither inlined nor cloned nor known to its callers, so that a call is a call.
#define WORKLOAD_FUNCTION [[gnu::noipa]]

namespace workload {

using Number = std::uint64_t;

/// Some dozen instructions for every round, without calls.
[[gnu::always_inline]] inline Number churn(Number seed, unsigned rounds)
{
    for (unsigned round = 0; round < rounds; ++round) {
        seed ^= seed << 13;
        seed ^= seed >> 7;
        seed ^= seed << 17;
        asm volatile("" : "+r"(seed));
    }
    return seed;
}

/// Keeps what comes before from becoming a jump out of the function.
[[gnu::always_inline]] inline Number keep(Number value)
{
    asm volatile("" : "+r"(value));
    return value;
}

/// Longer than a traced run, so that a trace ends by its own bounds.
inline constexpr unsigned manyRounds = 100'000;

} // namespace workload
