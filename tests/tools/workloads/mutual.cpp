// Functions that call each other in turn, to depths above and below the number of branch records.
#include "work.h"

using workload::Number;

namespace {

WORKLOAD_FUNCTION Number one(Number seed, unsigned levels);

WORKLOAD_FUNCTION Number three(Number seed, unsigned levels)
{
    if (levels == 0) return workload::churn(seed, 10);
    return workload::keep(one(workload::churn(seed, 2), levels - 1) + 3);
}

WORKLOAD_FUNCTION Number two(Number seed, unsigned levels)
{
    if (levels == 0) return workload::churn(seed, 8);
    const Number first = levels % 7 == 0 ? one(seed, 2) : seed;
    return workload::keep(three(first, levels - 1) + 2);
}

Number one(Number seed, unsigned levels)
{
    if (levels == 0) return workload::churn(seed, 6);
    return workload::keep(two(seed, levels - 1) + workload::churn(seed, 1));
}

} // namespace

int main()
{
    Number seed = 1;
    for (unsigned round = 0; round < workload::manyRounds; ++round)
        seed = one(seed, 10 + round * 7 % 40);
    return seed == 0;
}
