#pragma once

#include "load/bucket_pass.h"

#include <samplefold_1/loader_context.h>
#include <samplefold_1/thread_state.h>

#include <rowvault1/result.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

namespace samplefold::load {

/// The driver's context: options from the store and the command, threads, and the batches. After
/// every batchSize samples it sorts the attributes into buckets, flushes, and empties the arrays,
/// so that memory does not grow with the input. What a load that is killed leaves behind is at most
/// commitInterval old. Loading thread only.
class ProfileContext : public samplefold_1::LoaderContext {
public:
    static constexpr std::size_t batchSize = std::size_t{1} << 16;
    static constexpr std::chrono::seconds commitInterval{1};

    struct Options {
        bool stacks = false; ///< samples carry call chains, or places in code
        bool storeEachSample = true;
        std::uint64_t eventSlots = 1;
    };

    /// Opens the result for loading. `result` stays open until this object is gone.
    ProfileContext(rowvault1::IResult& result, const Options& options);
    ~ProfileContext() override;

    bool stacksAreOn() const { return m_linkCallsiteParents; }

    /// Where JIT data lies: directories joined by ";" and the folder that comes before them.
    /// `reporter` hears of questions that could not be answered. Before the first createJitLoader.
    void setJitSources(const std::string& directories, const std::string& dataPath,
                       const tb2::sptr_t<samplefold_1::ICriticalLoaderErrorReporter>& reporter);
    /// The loader of JIT data and the word that goes with its questions; null before the first
    /// createJitLoader.
    jitlens_3_13::IJitLoader* jitLoader() const { return m_jitSession.get(); }
    std::uint32_t jitStatus() const { return m_jitStatus; }

    /// Segment behind an instance that was added or met in this load; -1 for a placeholder.
    samplefold_1::Index segmentOf(samplefold_1::Index instance) const;

    /// Row of dd_module_file of a module of generated code; -1 before a frame was in it.
    samplefold_1::Index jitModule(const std::string& name) const;

    /// A thread of the context, owned by it; it never moves.
    samplefold_1::ThreadInfo* makeThread(samplefold_1::Index threadRow);

    /// Row of the mapping of a segment in a process at `address` from tick `loadTime` on; a row
    /// that the result holds already is used again.
    samplefold_1::Index segmentInstance(samplefold_1::Index segment, std::uint64_t address,
                                        samplefold_1::Index process, std::uint64_t loadTime);

    /// Adds a sample of a thread in an event slot. `tick` is not 0.
    void addSample(samplefold_1::ThreadInfo& thread,
                   const samplefold_1::pmu_sample_attribute_t& attr, std::uint64_t tick,
                   std::int64_t count, std::int32_t eventSlot);

    /// Adds what a thread counted in the ticks from `previous` + 1 to `last`, a closed interval
    /// without a follower. `previous` is not 0.
    void addInterval(samplefold_1::ThreadInfo& thread,
                     const samplefold_1::pmu_sample_attribute_t& attr, std::uint64_t previous,
                     std::uint64_t last, std::int64_t count);

    /// Writes everything that is still held, the open samples last. `tick` is where sums of thread
    /// and attribute are put when samples are not stored one by one; every thread starts there.
    void finish(std::uint64_t tick);

private:
    using instance_key_t = std::tuple<std::int32_t, std::uint64_t, std::int32_t, std::uint64_t>;

    void readSegmentInstances(rowvault1::IDatabase& db);
    void readJitModules(rowvault1::IDatabase& db);
    void flushBatch();
    void flushFullBatch();
    void commitNowAndThen();
    void repackAttributesForCurrentlyProcessedSamples() override;

    rowvault1::IResult& m_store;
    std::uint64_t m_eventSlots;
    BucketPass m_bucketPass;
    std::chrono::steady_clock::time_point m_lastCommit;
    std::size_t m_carriedOver = 0; ///< attributes of open samples in an otherwise emptied array
    std::map<instance_key_t, samplefold_1::Index>
        m_instances; ///< by segment, address, process, tick
    std::vector<std::unique_ptr<samplefold_1::ThreadInfo>> m_threads;
    /// The interval that is being added.
    std::vector<samplefold_1::pmu_sample_attribute_t*> m_intervalAttributes;
    std::vector<std::int64_t> m_intervalCounts;
    /// Attributes of the open samples, a vector per thread, while the arrays are emptied.
    std::vector<std::vector<samplefold_1::pmu_sample_attribute_t>> m_openAttributes;
};

} // namespace samplefold::load
