#pragma once

#include "critical_loader_error_reporter.h"
#include "export.h"
#include "forward/jitlens_3_13.h"
#include "hash_compare.h"
#include "hw_feedback_state.h"
#include "parallel_data_loading.h"
#include "sample_records.h"
#include "sample_thinner.h"

#include <rowvault1/chunk_array.h>
#include <rowvault1/database.h>
#include <rowvault1/instance_container.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <oneapi/tbb/concurrent_hash_map.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace samplefold_1 {

/// A record of the subclass for its events; the library only destroys it.
struct EventInfo {
    std::string name;
    std::int32_t key = -1;
    std::uint64_t period = 0;
    std::string unit;
};

/// The object at the centre of a load: store handles, the two sample arrays, the buckets of
/// distinct attributes. A driver subclasses it, fills the option members, and streams samples into
/// it:
///
///   1. construct, set the options below, setDb, setResult, initAttributeCaches(256);
///   2. per sample: addpmuSampleAttribute, then ThreadInfo::addSample with the pointer it returned;
///   3. now and then: the bucket pass over m_threadContexts, then flushData, whose last step lets
///   the
///      subclass empty the arrays (repackAttributesForCurrentlyProcessedSamples);
///   4. at the end: the bucket pass and flushData once more, then ThreadInfo::finish for every
///   thread.
///      Threads are destroyed before the context.
///
/// Thread rules: one loading thread drives it; no operation takes a lock.
class SAMPLEFOLD_1_API LoaderContext {
public:
    /// Reads the environment variable KESTREL_LOAD_INSTANCE_DATA_TO_SQLITE: any non-empty value
    /// makes every stored sample go to the sample band table as well.
    LoaderContext();
    virtual ~LoaderContext();
    LoaderContext(const LoaderContext&) = delete;
    LoaderContext& operator=(const LoaderContext&) = delete;

    /// Takes the database and opens the tables that the context writes; `db` must be live. Tables
    /// of the hardware feedback may be missing.
    void setDb(const tb2::sptr_t<rowvault1::IDatabase>& db);
    void setResult(const tb2::sptr_t<rowvault1::IPerfDatabase>& result);
    const tb2::sptr_t<rowvault1::IDatabase>& getDb() const noexcept { return m_db; }

    /// Copies an interval to the sample array; the address returned stays until the array is
    /// emptied.
    pmu_data_t* addPmuData(const pmu_data_t& data) { return m_pmuData.push(data); }

    /// Copies an attribute to the attribute array and notes its number in its bucket. The address
    /// returned stays until the array is emptied. The buckets must exist (initAttributeCaches);
    /// this is not checked.
    pmu_sample_attribute_t* addpmuSampleAttribute(const pmu_sample_attribute_t& attr);

    /// Makes `bucketCount` buckets (256, attributeBuckets) and fills them from the dd_sample rows
    /// that the result holds, so that equal attributes reuse their rows. A failed reload is logged
    /// and leaves the caches as far as they were filled. Once per context, before the first
    /// attribute.
    void initAttributeCaches(std::uint64_t bucketCount);
    /// The reload on its own; rows that are cached already change nothing.
    void loadSampleAttributeCacheFromDB();

    /// Writes new attributes, bucket by bucket, and then every closed interval as an instance row
    /// (and a band, where those are on) or into its thread's aggregator, in the order of their
    /// closing. The bucket pass must have run. Ends with
    /// repackAttributesForCurrentlyProcessedSamples; the arrays are otherwise left as they are, so
    /// that a subclass that does not empty them must not call this twice.
    void flushData();

    /// Adds a mapping of a module segment in a process and returns its key. `address` is the
    /// mapping's first address, `extra` the tick at which it was loaded (u64), or null when that is
    /// not known.
    Index addSegmentInstance(Index moduleSegment, std::uint64_t address, Index process,
                             const tb2::variant_t& extra);
    /// Adds a placeholder for an address in no known module and returns its key. A new row on every
    /// call.
    Index getBogusSegmentInstance(Index process);

protected:
    /// Called last by flushData. A subclass overrides it to empty m_pmuData and m_sampleAttributes,
    /// with the open samples carried over by ThreadInfo::getCopyOfLastSamples and
    /// setLastSamplesFromCopy.
    virtual void repackAttributesForCurrentlyProcessedSamples() {}

    using attribute_table_t = tb2::sptr_t<rowvault1::IAttributeTable>;
    template <class Band>
    using band_table_t = tb2::sptr_t<rowvault1::IGenericBandTable<Band>>;
    using jit_loader_t = boost::intrusive_ptr<jitlens_3_13::IJitLoader>;
    template <class Key, class Value>
    using concurrent_map_t = oneapi::tbb::concurrent_hash_map<Key, Value, HashCompare<Key>>;

    // Options are those that a comment calls so; the subclass writes them before the first thread
    // is made.
    SampleThinnerByEventType m_sampleThinner;
    std::uint64_t m_thinnerState = 0;
    attribute_table_t m_segmentInstanceTable;
    attribute_table_t m_moduleSegmentTable;
    std::map<std::int32_t, std::int32_t> m_segInstToModuleSegment;
    bool m_storeRva = true;
    rowvault1::OrphanRecord m_callsiteRecord;
    rowvault1::OrphanRecord m_codeLocationRecord;
    bool m_jitEnabled = true;
    jit_loader_t m_jitSession;
    std::uint32_t m_jitStatus = 0;
    concurrent_map_t<std::uint32_t, jit_loader_t> m_jitLoaders;
    std::string m_jitOptions;
    concurrent_map_t<std::string, Index> m_jitFileKeys;
    concurrent_map_t<std::string, Index> m_jitModuleFileKeys;
    attribute_table_t m_ddJitFileTable;
    attribute_table_t m_ddModuleFileTable;
    attribute_table_t m_ddCallsiteTable;
    attribute_table_t m_ddCodeLocationTable;
    std::string m_jitDataPath;
    band_table_t<rowvault1::aggregated_band_obj_t> m_sampleBandTable; ///< option: where bands go
    std::uint16_t m_rateBandField = rowvault1::InvalidColIdx;     ///< option: its custom columns
    std::uint16_t m_nextAttrBandField = rowvault1::InvalidColIdx; ///< option
    tb2::sptr_t<rowvault1::IInstanceDataContainer> m_instanceContainer; ///< option: where rows go
    /// Option. True: call stacks are on, attributes carry a callsite. False: attributes carry a
    /// code location, and one callsite row is made per location.
    bool m_linkCallsiteParents = true;
    bool m_storeEachSample = true; ///< option: a row per sample, or sums per thread and attribute
    bool m_loadInstanceDataToSqlite = false;
    rowvault1::ChunkArray<pmu_data_t> m_pmuData;
    rowvault1::ChunkArray<pmu_sample_attribute_t> m_sampleAttributes;
    std::vector<PerThreadContext> m_threadContexts;
    band_table_t<rowvault1::aggregated_band_obj_t> m_aggregatedBandTable;
    std::vector<EventInfo> m_events;
    tb2::sptr_t<ICriticalLoaderErrorReporter> m_errorReporter; ///< option
    std::string m_errorReporterMessage;                        ///< option
    attribute_table_t m_ddHwFeedbackClassTable;
    attribute_table_t m_ddHwFeedbackTable;
    band_table_t<rowvault1::single_band_obj_t> m_hwFeedbackInstanceTable;
    std::map<std::uint64_t, cpu_cfbi_last_state> m_cpuHwFeedbackState;
    std::map<std::int32_t, std::uint64_t> m_threadLastCpu;
    tb2::sptr_t<rowvault1::IDatabase> m_db;
    tb2::sptr_t<rowvault1::IPerfDatabase> m_result;
    /// Options: a non-empty tag makes the first interval of a slot begin A times B ticks before its
    /// sample.
    std::string m_firstIntervalTag;
    double m_firstIntervalFactorA = 0.0;
    double m_firstIntervalFactorB = 0.0;

private:
    friend class ThreadInfo;

    void flushBuckets();
    void addBand(const pmu_data_t& data, rowvault1::aggregated_band_obj_t& band,
                 std::vector<tb2::variant_t>& fields) const;
    bool storeInstance(const pmu_data_t& data, rowvault1::IOrphanInstanceDataRecord& target) const;
};

} // namespace samplefold_1
