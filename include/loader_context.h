#pragma once

#include "critical_loader_error_reporter.h"
#include "export.h"
#include "hash_compare.h"
#include "hw_feedback_state.h"
#include "parallel_data_loading.h"
#include "sample_records.h"
#include "sample_thinner.h"
#include "time_converter.h"
#include "vm_aux_data.h"

#include <jitlens_3_13/jit_loader.h>
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

/// Kind of a segment as the driver knows it; says whether JIT data is asked about its addresses.
/// Further values are the driver's and count as `file`.
enum class segment_type_t : std::int32_t {
    moduleOrJit = 0, ///< asked, unless the module is a native image
    file = 1,        ///< a mapping of a file: never asked
    noFile = 2       ///< memory without a file: always asked
};

/// The object at the centre of a load: store handles, the two sample arrays, the buckets of
/// distinct attributes. A driver subclasses it, fills the option members, and streams samples into
/// it:
///
///   1. construct, set the options below, setDb, setResult, initAttributeCaches(256);
///   2. per sample: addpmuSampleAttribute, then ThreadInfo::addSample with the pointer it returned;
///   3. now and then: the bucket pass over m_threadContexts, then flushData, which ends by
///      letting the subclass empty the arrays (repackAttributesForCurrentlyProcessedSamples);
///   4. at the end: the bucket pass and flushData once more, then ThreadInfo::finish for every
///      thread, and finalizeHwFeedbackData. Threads are destroyed before the context.
///
/// Thread rules: one loading thread drives it, and no operation takes a lock, where its comment
/// does not say otherwise.
class SAMPLEFOLD_1_API LoaderContext {
public:
    /// Reads the environment variable KESTREL_LOAD_INSTANCE_DATA_TO_SQLITE: any non-empty value
    /// makes every stored sample go to the sample band table as well.
    LoaderContext();
    virtual ~LoaderContext();
    LoaderContext(const LoaderContext&) = delete;
    LoaderContext& operator=(const LoaderContext&) = delete;

    /// Takes the database and opens the tables that the context writes; `db` must be live, which is
    /// not checked. Tables of the hardware feedback may be missing. A second call replaces all.
    void setDb(const tb2::sptr_t<rowvault1::IDatabase>& db);
    /// Takes the performance view of the same result, which the hardware feedback needs.
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
    /// that the result holds, so that equal attributes reuse their rows. A table, column or row
    /// that is missing for that is logged and leaves the caches as far as they were filled; a query
    /// that the store cannot run leaves them as they are. Once per context, behind setDb and before
    /// the first attribute; a second call keeps the buckets and reads the rows again.
    void initAttributeCaches(std::uint64_t bucketCount);
    /// The reload on its own; rows that are cached already change nothing.
    void loadSampleAttributeCacheFromDB();

    /// Writes new attributes, bucket by bucket, and then every closed interval as an instance row
    /// (and a band, where those are on) or into its thread's aggregator, in the order of their
    /// closing. The bucket pass must have run, and m_instanceContainer be set. For each interval a
    /// missing record fires "target", a refused row "res"; the walk goes on. Key columns of the
    /// following sample keep an earlier row's values where there is none. Ends with
    /// repackAttributesForCurrentlyProcessedSamples; the arrays are otherwise left as they are, so
    /// that a subclass that does not empty them must not call this twice.
    void flushData();

    /// Adds a mapping of a module segment in a process and returns its key. `address` is the
    /// mapping's first address, `extra` the tick at which it was loaded (u64), or null when that is
    /// not known. -1 when the store took no row.
    Index addSegmentInstance(Index moduleSegment, std::uint64_t address, Index process,
                             const tb2::variant_t& extra);
    /// Adds a placeholder for an address in no known module and returns its key. A new row on every
    /// call; -1 when the store took none.
    Index getBogusSegmentInstance(Index process);

    /// The directories of JIT data in an option text: elements between ";", those that are
    /// directories.
    struct SAMPLEFOLD_1_API JitPathOptionParser {
        explicit JitPathOptionParser(const std::string& option);
        ~JitPathOptionParser();
        JitPathOptionParser(const JitPathOptionParser&) = delete;
        JitPathOptionParser& operator=(const JitPathOptionParser&) = delete;

        std::vector<std::string> paths;
        std::vector<const char*> cStrings; ///< the same, NUL-terminated; they point into `paths`
    };

    /// Says that a process has JIT code; before its addresses are resolved. The first call makes
    /// the one loader of the context from m_jitOptions and attaches it to m_jitDataPath. A pid of 0
    /// changes nothing. One thread at a time, and done before getJitLoader is asked for the
    /// process.
    void createJitLoader(std::uint32_t pid);
    /// The loader when createJitLoader named the process, else null. Any thread.
    boost::intrusive_ptr<jitlens_3_13::IJitLoader> getJitLoader(std::uint32_t pid) const;
    /// Asks where `ip` was at `jitTime` (JIT clock) in generated code of a process: the loader's
    /// code (0 found, 4 no such code, else an error), with *rva set whatever the code, when `rva`
    /// is not null. 4, with *rva untouched, when m_jitEnabled is off, the process has no loader or
    /// `jitTime` is 0. Allocates nothing of its own. Any thread.
    std::uint32_t resolveAddrAsJit(std::uint64_t ip, std::uint64_t jitTime, std::uint32_t pid,
                                   std::uint64_t* rva) const;
    /// Adds a segment instance for a frame in a generated module and returns its key: one file row
    /// per module name, a new segment row and a new instance row on every call. The one dd_jit_file
    /// row of the context keeps the kind of the first module. File rows that the store refused are
    /// not tried again: each later frame fires "jitFileKey.exist()" or "modFileKey.exist()" and
    /// goes on without them. Threads on one module come one after the other; different modules are
    /// for one thread at a time.
    Index getJitSegmentInstance(Index process,
                                const boost::intrusive_ptr<jitlens_3_13::IModule>& module);

    /// Settles what `ip` belongs to and writes its frame. `segInst` comes in as the instance that
    /// the driver found, or -1, and goes out as the one that the frame belongs to: that one, a JIT
    /// instance, or a new placeholder. `segmentStart` is the address of the segment in the process,
    /// `segmentRva` the relative address of its start in the module; `jitTime` is on the JIT clock,
    /// 0 for no look-up; `modulePath` is read to see a native image, for moduleOrJit. With
    /// `location` null writes a code location and a callsite under `parent` and returns the
    /// callsite's key. Else writes neither, fills *location for the sample attribute, and returns
    /// -1. `markFrame` is true for the sampled frame. The addresses 0, -1, -2 and -3 outside every
    /// segment get the relative addresses 0, 1, 2 and 3. An error of the JIT loader goes to
    /// m_errorReporter, which must be set then, and the frame stays where it was. A frame without a
    /// process ("processKey.exist()"), or of which the store refused a row, is asserted and goes
    /// on. Loading thread.
    Index createCallsiteInstance(Index& segInst, std::uint32_t pid, Index process,
                                 std::uint64_t jitTime, std::uint64_t ip,
                                 std::uint64_t segmentStart, std::uint64_t segmentRva,
                                 const std::string& modulePath, Index parent, bool markFrame,
                                 code_location_t* location, segment_type_t type);
    /// Ends segment instances over which JIT code was laid later, one tick before that code starts.
    /// After the loaders exist and the segments are in place, before stacks are looked up. Nothing
    /// changes with m_jitEnabled off. Holds the lock of a process id while it walks its records.
    void updateSegUnloadTime(VmAuxData& processes, ITimeConverter& converter);

    /// One report of a CPU: which class it gave at tick `tsc` to the thread on it, whose row in
    /// dd_thread is `threadBandKey`. Bit 63 of `classWord` tells that its low 8 bits are the class;
    /// else the class is invalid. Reports of a CPU come in the order of their ticks; an earlier
    /// one is logged and left out. Of `feedbackValue` that of a CPU's first report counts for all
    /// its bands. A band that ends here is written. Bands of a thread do not overlap when reports
    /// of all CPUs come in the order of their ticks, except for the one tick at which a CPU makes
    /// its first report. Needs a result with the two tables of the feedback. Loading thread.
    void loadHwFeedbackData(std::uint64_t classWord, std::uint64_t tsc, std::int32_t threadBandKey,
                            std::uint64_t cpuIndex, std::int32_t feedbackValue);
    /// Writes the band that each CPU is in, by rising CPU; once, after the last report: a second
    /// call would write them again.
    void finalizeHwFeedbackData();

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

    /// Writes the attribute of a CPU's band, and the band where it is longer than a tick.
    void createHwFeedbackInstance(cpu_cfbi_last_state& state);
    /// Adds a row for the class and one for the feedback with it; the key of the latter.
    Index createHwFeedbackAttr(std::uint8_t classId, std::int32_t feedbackValue);
    /// The table of bands, made and bound to its owner on the first call; setResult comes before.
    const band_table_t<rowvault1::single_band_obj_t>& getHwFeedbackInstanceTable();

    // Options are those that a comment calls so; the subclass writes them before the first thread
    // is made.
    SampleThinnerByEventType m_sampleThinner;
    std::uint64_t m_thinnerState = 0;
    attribute_table_t m_segmentInstanceTable;
    attribute_table_t m_moduleSegmentTable;
    std::map<std::int32_t, std::int32_t> m_segInstToModuleSegment;
    bool m_storeRva = true; ///< option: false stores 0 for every relative address
    rowvault1::OrphanRecord m_callsiteRecord;
    rowvault1::OrphanRecord m_codeLocationRecord;
    bool m_jitEnabled = true; ///< option: false asks no JIT loader
    jit_loader_t m_jitSession;
    std::uint32_t m_jitStatus = 0; ///< the loader's word for its questions, 0 until it is attached
    concurrent_map_t<std::uint32_t, jit_loader_t> m_jitLoaders;
    std::string m_jitOptions; ///< option: directories of JIT data, separated by ";"
    concurrent_map_t<std::string, Index> m_jitFileKeys;
    concurrent_map_t<std::string, Index> m_jitModuleFileKeys;
    attribute_table_t m_ddJitFileTable;
    attribute_table_t m_ddModuleFileTable;
    attribute_table_t m_ddCallsiteTable;
    attribute_table_t m_ddCodeLocationTable;
    std::string m_jitDataPath; ///< option: where the loader looks first
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
    tb2::sptr_t<ICriticalLoaderErrorReporter> m_errorReporter; ///< option: hears of JIT errors
    std::string m_errorReporterMessage;                        ///< option: the text it is given
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

    /// A frame as the JIT loader is asked about it.
    struct jit_frame_t {
        jitlens_3_13::IJitLoader* loader; ///< null when there is none to ask
        std::uint32_t pid;
        Index process;
        std::uint64_t jitTime;
        std::uint64_t ip;
    };

    void continueHwFeedback(cpu_cfbi_last_state& state, std::uint64_t cpuIndex,
                            std::uint8_t classId, std::uint64_t tsc);
    void changeHwFeedbackThread(cpu_cfbi_last_state& state, std::int32_t threadBandKey,
                                std::uint8_t classId, std::uint64_t tsc);

    Index jitFileKey(std::int32_t jitKind);
    Index addJitModuleAttributes(const jitlens_3_13::IModule& module) const;
    Index addJitModuleFile(const jitlens_3_13::IModule& module, std::int32_t jitKind) const;

    std::uint32_t askJitLoader(const jit_frame_t& frame, Index& segInst, std::uint64_t& rva);
    std::uint64_t settleInSegment(const jit_frame_t& frame, std::uint64_t rva,
                                  const std::string& modulePath, segment_type_t type,
                                  Index& segInst);
    std::uint64_t settleOutsideSegments(const jit_frame_t& frame, Index& segInst);
    Index moduleSegmentOf(Index segInst);
    Index addCodeLocation(Index moduleSegment, std::uint64_t rva);
    Index addCallsite(Index codeLocation, Index parent, bool markFrame);

    void flushBuckets();
    void addBand(const pmu_data_t& data, rowvault1::aggregated_band_obj_t& band,
                 std::vector<tb2::variant_t>& fields) const;
    bool storeInstance(const pmu_data_t& data, rowvault1::IOrphanInstanceDataRecord& target) const;
};

} // namespace samplefold_1
