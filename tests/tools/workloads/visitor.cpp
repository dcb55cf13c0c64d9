#include "visitor.h"

#include "work.h"

namespace {

WORKLOAD_FUNCTION unsigned long visitOne(unsigned long (*visit)(unsigned long), unsigned long item)
{
    return workload::keep(visit(item) + 1);
}

} // namespace

extern "C" [[gnu::visibility("default")]] unsigned long
visitEach(unsigned long (*visit)(unsigned long), unsigned long count)
{
    unsigned long sum = 0;
    for (unsigned long item = 0; item < count; ++item)
        sum += visitOne(visit, item);
    return workload::keep(sum);
}
