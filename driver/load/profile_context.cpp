#include "load/profile_context.h"

#include "session/table_rows.h"

namespace samplefold::load {

using rowvault1::utils::variantToIndex;
using samplefold_1::Index;
using samplefold_1::pmu_sample_attribute_t;
using samplefold_1::ThreadInfo;

ProfileContext::ProfileContext(rowvault1::IResult& result, const Options& options)
    : m_store(result), m_eventSlots(options.eventSlots),
      m_lastCommit(std::chrono::steady_clock::now())
{
    m_instanceContainer = result.instanceContainer();
    // The band columns are set even when no bands are written: every thread sizes its columns by
    // them.
    m_sampleBandTable = result.sampleBandTable();
    m_rateBandField = m_sampleBandTable->customColumn("rate");
    m_nextAttrBandField = m_sampleBandTable->customColumn("next_attr");
    m_linkCallsiteParents = options.stacks;
    m_storeEachSample = options.storeEachSample;
    setDb(result.database());
    setResult(result.perfDatabase());
    initAttributeCaches(samplefold_1::attributeBuckets);
    readSegmentInstances(*getDb());
    readJitModules(*getDb());
}

ProfileContext::~ProfileContext() = default;

/// Placeholders and generated code have no tick in "extra"; each stands for an address of its own.
void ProfileContext::readSegmentInstances(rowvault1::IDatabase& db)
{
    session::readTable(
        "dd_segment_instance", db, std::array{"rowid", "mod_seg", "address", "process", "extra"},
        [this](const auto& row) {
            const Index instance = variantToIndex(row[0]);
            const Index segment = variantToIndex(row[1]);
            m_segInstToModuleSegment[instance.value()] = segment.value();
            if (row[4].is_null()) return;
            m_instances.try_emplace({segment.value(), row[2].integer_bits(),
                                     variantToIndex(row[3]).value(), row[4].integer_bits()},
                                    instance);
        });
}

/// Modules of generated code that an earlier load wrote are used again.
void ProfileContext::readJitModules(rowvault1::IDatabase& db)
{
    session::readTable(
        "dd_module_segment", db, std::array{"module.path", "module", "jit_file"},
        [this](const auto& row) {
            const Index jitFile = variantToIndex(row[2]);
            if (!jitFile.exist()) return;
            m_jitFileKeys.insert({std::string(), jitFile});
            m_jitModuleFileKeys.insert({std::string(row[0].as_text()), variantToIndex(row[1])});
        });
}

void ProfileContext::setJitSources(
    const std::string& directories, const std::string& dataPath,
    const tb2::sptr_t<samplefold_1::ICriticalLoaderErrorReporter>& reporter)
{
    m_jitOptions = directories;
    m_jitDataPath = dataPath;
    m_errorReporter = reporter;
    m_errorReporterMessage = "JIT data of a process cannot be read";
}

Index ProfileContext::segmentOf(Index instance) const
{
    const auto entry = m_segInstToModuleSegment.find(instance.value());
    return entry != m_segInstToModuleSegment.end() ? Index(entry->second) : Index();
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

Index ProfileContext::jitModule(const std::string& name) const
{
    decltype(m_jitModuleFileKeys)::const_accessor entry;
    return m_jitModuleFileKeys.find(entry, name) ? entry->second : Index();
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
    flushFullBatch();
    thread.addSample(tick, addpmuSampleAttribute(attr), count, 0, 1, false, eventSlot,
                     m_eventSlots);
}

void ProfileContext::addInterval(ThreadInfo& thread, const pmu_sample_attribute_t& attr,
                                 std::uint64_t previous, std::uint64_t last, std::int64_t count)
{
    flushFullBatch();
    m_intervalAttributes.assign(1, addpmuSampleAttribute(attr));
    m_intervalCounts.assign(1, count);
    const std::size_t skipNone = m_intervalCounts.size();
    thread.addSample(previous, last, m_intervalAttributes, m_intervalCounts, skipNone);
}

void ProfileContext::flushFullBatch()
{
    if (m_sampleAttributes.size() - m_carriedOver >= batchSize) flushBatch();
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
