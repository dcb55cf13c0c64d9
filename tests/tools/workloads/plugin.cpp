// A library that plugins.cpp loads.
#include "work.h"

using workload::Number;

namespace {

WORKLOAD_FUNCTION Number within(Number seed, unsigned levels)
{
    if (levels == 0) return workload::churn(seed, 12);
    return workload::keep(within(seed, levels - 1) + 1);
}

} // namespace

/// Calls back from some depth.
extern "C" [[gnu::visibility("default")]] Number pluginRun(Number seed, Number (*back)(Number))
{
    return workload::keep(within(seed, 5) + back(seed));
}
