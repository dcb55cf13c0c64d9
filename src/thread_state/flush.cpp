#include "thread_state/instance_row.h"
#include <samplefold_1/loader_context.h>
#include <samplefold_1/thread_state.h>

#include <PORTA_2_18/assert.h>

#include <algorithm>

namespace samplefold_1 {
namespace {

/// How far ahead of the walk memory is fetched: the row keys, which lie anywhere in the caches of
/// the buckets, and before them the attributes that point there. The distance takes in the
/// followers of most rows in between.
constexpr std::size_t g_keysAhead = 128;
constexpr std::size_t g_attributesAhead = g_keysAhead + 32;

void fetchAhead(rowvault1::ChunkArray<pmu_data_t>& data, std::size_t at)
{
    if (at + g_attributesAhead >= data.size()) return;
    const pmu_sample_attribute_t* const attr = data[at + g_attributesAhead].attr;
    __builtin_prefetch(&attr->event_type);
    __builtin_prefetch(&attr->code_loc);
    const pmu_sample_attribute_t* const nearer = data[at + g_keysAhead].attr;
    __builtin_prefetch(nearer->sample_key);
    __builtin_prefetch(nearer->code_loc.callsite_key);
}

} // namespace

void LoaderContext::flushData()
{
    flushBuckets();

    // One record for all rows: a row without a follower keeps the follower's columns of an earlier
    // row.
    const auto target = m_instanceContainer->createOrphanInstanceRecord();
    rowvault1::aggregated_band_obj_t band{0, 0, {{0, 0, Index()}}};
    std::vector<tb2::variant_t> bandFields(
        std::size_t{std::max(m_rateBandField, m_nextAttrBandField)} + 1);

    for (std::size_t i = 0; i < m_pmuData.size(); ++i) {
        fetchAhead(m_pmuData, i);
        const pmu_data_t& data = m_pmuData[i];
        if (!m_storeEachSample) {
            const pmu_sample_attribute_t& attr = *data.attr;
            data.thread->m_overtimeAggregator.addSample(
                attr.sample_key->value(),
                {attr.event_type, effectiveCallsite(attr), attr.cpu, data.count});
            continue;
        }
        if (m_loadInstanceDataToSqlite) addBand(data, band, bandFields);
        PORTA_ASSERT_TEXT(!target.is_null(), "target");
        PORTA_ASSERT_TEXT(target && storeInstance(data, *target), "res");
    }
    repackAttributesForCurrentlyProcessedSamples();
}

void LoaderContext::flushBuckets()
{
    for (PerThreadContext& bucket : m_threadContexts)
        bucket.flush(m_db);
}

void LoaderContext::addBand(const pmu_data_t& data, rowvault1::aggregated_band_obj_t& band,
                            std::vector<tb2::variant_t>& fields) const
{
    band.start = data.start_tsc;
    band.end = data.end_tsc;
    band.data[0].count = static_cast<std::uint64_t>(data.count);
    band.data[0].attribute = *data.attr->sample_key;
    fields[m_rateBandField] = data.next ? tb2::variant_t(data.rate) : tb2::variant_t();
    fields[m_nextAttrBandField] =
        data.next ? tb2::variant_t(data.next->attr->sample_key->value()) : tb2::variant_t();
    tb2::sptr_t<rowvault1::IMetaData> meta;
    m_sampleBandTable->add(data.thread->m_bandTimelineKey, band, meta, &fields);
}

bool LoaderContext::storeInstance(const pmu_data_t& data,
                                  rowvault1::IOrphanInstanceDataRecord& target) const
{
    writeSampleKeys(target, data, data.thread->m_threadKey);
    if (data.next) {
        target.setKey(instance_key::nextCallsite, effectiveCallsite(*data.next->attr).value());
        target.setKey(instance_key::nextEventType, data.next->attr->event_type.value());
    }
    return insertSampleRow(target, data);
}

} // namespace samplefold_1
