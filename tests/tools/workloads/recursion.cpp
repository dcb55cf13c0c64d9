// Recursion deeper than there are branch records, with calls on the way down and up.
#include "work.h"

using workload::Number;

namespace {

WORKLOAD_FUNCTION Number atTheBottom(Number seed)
{
    return workload::churn(seed, 12);
}

WORKLOAD_FUNCTION Number onTheWay(Number seed)
{
    return workload::churn(seed, 2);
}

WORKLOAD_FUNCTION Number descend(Number seed, unsigned levels)
{
    if (levels == 0) return workload::keep(atTheBottom(seed));
    const Number below = descend(onTheWay(seed), levels - 1);
    return workload::keep(below + onTheWay(below));
}

} // namespace

int main()
{
    Number seed = 1;
    for (unsigned round = 0; round < workload::manyRounds; ++round)
        seed = descend(seed, 20 + round % 40);
    return seed == 0;
}
