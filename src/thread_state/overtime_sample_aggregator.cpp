#include <samplefold_1/overtime_sample_aggregator.h>

#include "thread_state/instance_columns.h"

#include <PORTA_2_18/assert.h>

namespace samplefold_1 {

void OvertimeSampleAggregator::addSample(std::int32_t attributeRow, const PmuEventInfo& info)
{
    const auto [entry, isNew] = m_events.try_emplace(attributeRow, info);
    if (!isNew) entry->second.count += info.count;
}

void OvertimeSampleAggregator::flushToInstanceDataContainer(
    const tb2::sptr_t<rowvault1::IInstanceDataContainer>& target, std::int32_t threadKey,
    std::uint64_t tsc) const
{
    for (const auto& [attributeRow, info] : m_events) {
        const auto record = target->createOrphanInstanceRecord();
        PORTA_ASSERT_TEXT(!record.is_null(), "target");
        if (record) {
            record->setKey(instance_key::sample, attributeRow);
            record->setKey(instance_key::callsite, info.callsite.value());
            record->setKey(instance_key::eventType, info.event_type.value());
            record->setKey(instance_key::cpu, info.cpu.value());
            record->setKey(instance_key::thread, threadKey);
            record->setInteger(instance_integer::startTsc, tsc);
            record->setInteger(instance_integer::reservedValue, 0);
            record->setInteger(instance_integer::count, static_cast<std::uint64_t>(info.count));
        }
        PORTA_ASSERT_TEXT(record && record->insert(tsc), "res");
        ++tsc;
    }
}

void OvertimeSampleAggregator::flushToBandTable(
    const tb2::sptr_t<rowvault1::IGenericBandTable<rowvault1::aggregated_band_obj_t>>& table,
    const rowvault1::band_timeline_key_t& key, std::uint64_t tsc) const
{
    for (const auto& [attributeRow, info] : m_events) {
        const rowvault1::aggregated_band_obj_t band{
            tsc, tsc, {{0, static_cast<std::uint64_t>(info.count), Index(attributeRow)}}};
        tb2::sptr_t<rowvault1::IMetaData> meta;
        table->add(key, band, meta, nullptr);
        ++tsc;
    }
}

} // namespace samplefold_1
