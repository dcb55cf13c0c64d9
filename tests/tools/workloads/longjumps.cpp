// longjmp out of several calls, which branch records in call-stack mode do not notice.
#include "work.h"

#include <csetjmp>

using workload::Number;

namespace {

std::jmp_buf g_place;

WORKLOAD_FUNCTION Number quiet(Number seed, unsigned levels)
{
    if (levels == 0) return workload::churn(seed, 15);
    return workload::keep(quiet(seed, levels - 1) + 1);
}

WORKLOAD_FUNCTION Number jumper(Number seed, unsigned levels)
{
    if (levels == 0) {
        if (seed) std::longjmp(g_place, 1);
        return 0;
    }
    return workload::keep(jumper(workload::churn(seed, 3), levels - 1) + 1);
}

WORKLOAD_FUNCTION Number attempt(Number seed, unsigned levels)
{
    if (setjmp(g_place) == 0) return workload::keep(jumper(seed, levels));
    return workload::keep(quiet(seed, 4));
}

WORKLOAD_FUNCTION Number round(Number seed, unsigned number)
{
    seed = attempt(seed, 2 + number % 5);
    for (unsigned times = 0; times < 8; ++times)
        seed += quiet(seed, 3 + times);
    return workload::keep(seed);
}

} // namespace

int main()
{
    Number seed = 1;
    for (unsigned number = 0; number < workload::manyRounds; ++number)
        seed = round(seed, number);
    return seed == 0;
}
