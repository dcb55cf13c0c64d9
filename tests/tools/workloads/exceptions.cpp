// Exceptions through several frames, caught at different depths, and work in depth after each.
#include "work.h"

#include <exception>

using workload::Number;

namespace {

class Thrown : public std::exception {};

WORKLOAD_FUNCTION Number quiet(Number seed, unsigned levels)
{
    if (levels == 0) return workload::churn(seed, 20);
    return workload::keep(quiet(seed, levels - 1) + 1);
}

WORKLOAD_FUNCTION Number thrower(Number seed, unsigned levels)
{
    if (levels == 0) throw Thrown();
    return workload::keep(thrower(workload::churn(seed, 1), levels - 1) + 1);
}

WORKLOAD_FUNCTION Number catcher(Number seed, unsigned levels)
{
    try {
        return workload::keep(thrower(seed, levels) + 1);
    } catch (const Thrown&) {
        return workload::keep(quiet(seed, levels) + 2);
    }
}

WORKLOAD_FUNCTION Number around(Number seed, unsigned levels)
{
    if (levels == 0) return workload::keep(catcher(seed, 3));
    return workload::keep(around(seed, levels - 1) + quiet(seed, 5));
}

WORKLOAD_FUNCTION Number manyQuiet(Number seed)
{
    for (unsigned times = 0; times < 200; ++times)
        seed += quiet(seed, 6);
    return workload::keep(seed);
}

} // namespace

int main()
{
    Number seed = 1;
    for (unsigned round = 0; round < workload::manyRounds; ++round)
        seed = manyQuiet(around(seed, round % 4));
    return seed == 0;
}
