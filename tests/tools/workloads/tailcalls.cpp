// Calls in tail position, which the compiler makes jumps: one frame holds function after function.
#include "work.h"

using workload::Number;

namespace {

WORKLOAD_FUNCTION Number helper(Number seed)
{
    return workload::churn(seed, 4);
}

WORKLOAD_FUNCTION Number last(Number seed, unsigned left);

WORKLOAD_FUNCTION Number second(Number seed, unsigned left)
{
    seed += helper(seed);
    if (left == 0) return seed;
    return last(seed, left - 1);
}

WORKLOAD_FUNCTION Number first(Number seed, unsigned left)
{
    seed += helper(seed);
    if (left == 0) return seed;
    return second(seed, left - 1);
}

Number last(Number seed, unsigned left)
{
    seed ^= helper(seed);
    if (left == 0) return helper(seed);
    return first(seed, left - 1);
}

using Target = Number (*)(Number, unsigned);

WORKLOAD_FUNCTION Number through(Target target, Number seed, unsigned left)
{
    return target(helper(seed), left);
}

WORKLOAD_FUNCTION Number nested(Number seed, unsigned levels)
{
    if (levels == 0) return through(first, seed, 7);
    return workload::keep(nested(seed, levels - 1) + through(last, seed, levels));
}

} // namespace

int main()
{
    Number seed = 1;
    for (unsigned round = 0; round < workload::manyRounds; ++round)
        seed = nested(seed, 6);
    return seed == 0;
}
