// Callbacks: libc sorts and searches with functions of the program, and so does a library of ours.
#include "visitor.h"
#include "work.h"

#include <cstdlib>

using workload::Number;

namespace {

WORKLOAD_FUNCTION int order(Number left, Number right)
{
    return workload::churn(left, 2) < workload::churn(right, 2) ? -1 : 1;
}

WORKLOAD_FUNCTION int compareToSort(const void* left, const void* right)
{
    const Number first = *static_cast<const Number*>(left);
    const Number second = *static_cast<const Number*>(right);
    return first == second
               ? 0
               : static_cast<int>(workload::keep(static_cast<Number>(order(first, second))));
}

WORKLOAD_FUNCTION int compareToFind(const void* key, const void* item)
{
    return static_cast<int>(workload::keep(static_cast<Number>(compareToSort(key, item))));
}

WORKLOAD_FUNCTION unsigned long visit(unsigned long item)
{
    return workload::churn(item + 1, 6);
}

constexpr std::size_t count = 24;

WORKLOAD_FUNCTION void fill(Number (&items)[count], Number seed)
{
    for (Number& item : items)
        item = seed = workload::churn(seed, 1);
}

WORKLOAD_FUNCTION Number round(Number seed)
{
    Number items[count];
    fill(items, seed);
    std::qsort(items, count, sizeof items[0], compareToSort);
    for (const Number& item : items)
        seed += std::bsearch(&item, items, count, sizeof item, compareToFind) != nullptr;
    return workload::keep(seed + visitEach(visit, count));
}

} // namespace

int main()
{
    Number seed = 1;
    for (unsigned done = 0; done < workload::manyRounds; ++done)
        seed = round(seed);
    return seed == 0;
}
