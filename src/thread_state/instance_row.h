#pragma once

#include "thread_state/instance_columns.h"
#include <samplefold_1/sample_records.h>

#include <rowvault1/instance_container.h>

namespace samplefold_1 {

/// Writes the key columns that every sample row has; those of the following sample are the
/// caller's.
inline void writeSampleKeys(rowvault1::IOrphanInstanceDataRecord& target, const pmu_data_t& data,
                            Index threadKey)
{
    const pmu_sample_attribute_t& attr = *data.attr;
    target.setKey(instance_key::sample, attr.sample_key->value());
    target.setKey(instance_key::callsite, effectiveCallsite(attr).value());
    target.setKey(instance_key::eventType, attr.event_type.value());
    target.setKey(instance_key::cpu, attr.cpu.value());
    target.setKey(instance_key::thread, threadKey.value());
}

/// Writes the numbers of the interval and inserts the row. Returns what the store says.
inline bool insertSampleRow(rowvault1::IOrphanInstanceDataRecord& target, const pmu_data_t& data)
{
    target.setDouble(instance_double::rate, data.rate);
    target.setInteger(instance_integer::startTsc, data.start_tsc);
    target.setInteger(instance_integer::reservedValue, data.reserved_value);
    target.setInteger(instance_integer::count, static_cast<std::uint64_t>(data.count));
    return target.insert(data.end_tsc);
}

} // namespace samplefold_1
