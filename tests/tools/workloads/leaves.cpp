// Much time in leaf functions that set up no frame, below a chain of functions that do little else.
#include "work.h"

using workload::Number;

namespace {

WORKLOAD_FUNCTION Number longLeaf(Number seed)
{
    return workload::churn(seed, 40);
}

WORKLOAD_FUNCTION Number shortLeaf(Number seed)
{
    return seed * 3 + 1;
}

template <unsigned level>
WORKLOAD_FUNCTION Number step(Number seed)
{
    seed = longLeaf(seed) + shortLeaf(seed);
    if constexpr (level > 0) seed += step<level - 1>(seed);
    return workload::keep(seed + shortLeaf(seed));
}

} // namespace

int main()
{
    Number seed = 1;
    for (unsigned round = 0; round < workload::manyRounds; ++round)
        seed = step<16>(seed);
    return seed == 0;
}
