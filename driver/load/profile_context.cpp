#include "load/profile_context.h"

namespace samplefold::load {

using samplefold_1::Index;
using samplefold_1::pmu_sample_attribute_t;
using samplefold_1::ThreadInfo;

ProfileContext::ProfileContext(rowvault1::IResult& result, bool storeEachSample,
                               std::uint64_t eventSlots)
    : m_store(result), m_eventSlots(eventSlots), m_lastCommit(std::chrono::steady_clock::now())
{
    m_instanceContainer = result.instanceContainer();
    // The band columns are set even when no bands are written: every thread sizes its columns by
    // them.
    m_sampleBandTable = result.sampleBandTable();
    m_rateBandField = m_sampleBandTable->customColumn("rate");
    m_nextAttrBandField = m_sampleBandTable->customColumn("next_attr");
    m_linkCallsiteParents = false;
    m_storeEachSample = storeEachSample;
    setDb(result.database());
    setResult(result.perfDatabase());
    initAttributeCaches(samplefold_1::attributeBuckets);
    readSegmentInstances(*getDb());
}

ProfileContext::~ProfileContext() = default;

void ProfileContext::readSegmentInstances(rowvault1::IDatabase& db)
{
    using rowvault1::utils::variantToIndex;
    const auto query = db.createQuery("dd_segment_instance", 2);
    const std::uint16_t rowId = query->addColumn("rowid");
    const std::uint16_t segment = query->addColumn("mod_seg");
    const std::uint16_t address = query->addColumn("address");
    const std::uint16_t process = query->addColumn("process");
    const std::uint16_t loadTime = query->addColumn("extra");
    for (const auto rows = query->execute(); rows && !rows->atEnd(); rows->next()) {
        const rowvault1::IConstRecord* const row = rows->current();
        if (row == nullptr) return;
        const instance_key_t key{
            variantToIndex(row->get(segment)).value(), row->get(address).integer_bits(),
            variantToIndex(row->get(process)).value(), row->get(loadTime).integer_bits()};
        m_instances.try_emplace(key, variantToIndex(row->get(rowId)));
    }
}

Index ProfileContext::segmentInstance(Index segment, std::uint64_t address, Index process,
                                      std::uint64_t loadTime)
{
    const instance_key_t key{segment.value(), address, process.value(), loadTime};
    const auto [entry, isNew] = m_instances.try_emplace(key);
    if (isNew)
        entry->second = addSegmentInstance(segment, address, process, tb2::variant_t(loadTime));
    return entry->second;
}

ThreadInfo* ProfileContext::makeThread(Index threadRow)
{
    m_threads.push_back(
        std::make_unique<ThreadInfo>(this, threadRow, m_eventSlots, m_storeEachSample, threadRow));
    return m_threads.back().get();
}

void ProfileContext::addSample(ThreadInfo& thread, const pmu_sample_attribute_t& attr,
                               std::uint64_t tick, std::int64_t count, std::int32_t eventSlot)
{
    if (m_sampleAttributes.size() - m_carriedOver >= batchSize) flushBatch();
    thread.addSample(tick, addpmuSampleAttribute(attr), count, 0, 1, false, eventSlot,
                     m_eventSlots);
}

void ProfileContext::flushBatch()
{
    m_bucketPass.run(m_threadContexts, m_sampleAttributes, m_linkCallsiteParents);
    flushData();
    commitNowAndThen();
}

/// A commit waits for the writer, so that it is no matter for every batch. A store that has failed
/// is asked at once, which tells why.
void ProfileContext::commitNowAndThen()
{
    const auto now = std::chrono::steady_clock::now();
    if (now - m_lastCommit < commitInterval && m_store.failure().empty()) return;
    m_store.commitPoint();
    m_lastCommit = now;
}

void ProfileContext::repackAttributesForCurrentlyProcessedSamples()
{
    m_openAttributes.resize(m_threads.size());
    for (std::size_t i = 0; i < m_threads.size(); ++i) {
        m_threads[i]->getCopyOfLastSamples(m_openAttributes[i]);
    }
    m_pmuData.reset();
    m_sampleAttributes.reset();
    for (std::size_t i = 0; i < m_threads.size(); ++i) {
        m_threads[i]->setLastSamplesFromCopy(m_openAttributes[i]);
    }
    m_carriedOver = m_sampleAttributes.size();
}

void ProfileContext::finish(std::uint64_t tick)
{
    // The open samples refer to rows of dd_sample, so their attributes are flushed before.
    flushBatch();
    for (const auto& thread : m_threads)
        thread->finish(tick);
    m_store.drain();
}

} // namespace samplefold::load
