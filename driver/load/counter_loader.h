#pragma once

#include "load/counter_rounds.h"
#include "load/profile_context.h"
#include "load/sample_loader.h"
#include "perfdata/recording.h"
#include "session/process_table.h"

#include <rowvault1/result.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace samplefold::load {

/// What became of the counter values of a recording.
struct CounterBooks {
    std::uint64_t values = 0;   ///< in the input
    std::uint64_t rows = 0;     ///< intervals handed to the library
    std::uint64_t dropped = 0;  ///< values that became none, each counted by reason
    std::uint64_t countSum = 0; ///< sum of the intervals' counts (wraps)
};

/// Loads the counter values of a counting run (`perf stat record`) as intervals: a row per event,
/// CPU, thread and round. A count of a thread belongs to that thread, in a process of the same
/// number, since the recording names no other. A count of all threads belongs to a process of its
/// own, "[all processes]" with pid -1: to its thread "[CPU N]" with tid N, or "[all CPUs]" with tid
/// -1. Rows have a CPU where the count is of one, and neither mode, address nor callsite. Loading
/// thread only.
class CounterLoader : public perfdata::RecordSink {
public:
    /// The arguments outlive the object. `lastTick` is the last tick of what the result holds, 0
    /// for none: a run whose recording has no times of its own begins there.
    CounterLoader(const perfdata::Recording& recording, const SampleLoader::Session& session,
                  ProfileContext& context, std::uint64_t lastTick = 0);

    /// Goes through the recording where it has counter values; once.
    void load(const perfdata::ProgressHook& progress);

    void onThreadMap(const perfdata::ThreadMapRecord& record) override;
    void onCpuMap(const perfdata::CpuMapRecord& record) override;
    void onStat(const perfdata::StatRecord& record) override;
    void onStatRound(const perfdata::StatRoundRecord& record) override;

    const CounterBooks& books() const { return m_books; }
    /// First and last tick of the run.
    std::pair<std::uint64_t, std::uint64_t> range() const
    {
        return {m_rounds.start(), m_rounds.last()};
    }
    /// Adds what was dropped or guessed to the quality log, and writes what was dropped of which
    /// event on which CPU as rows of dd_counter_drop; once, after the load.
    void reportQuality(const tb2::sptr_t<rowvault1::IDatabase>& db);

private:
    struct Row {
        session::Thread* thread = nullptr;
        samplefold_1::Index cpu;
    };

    void add(const CountedInterval& interval);
    std::int32_t cpuOf(const perfdata::Event& event, std::uint32_t number) const;
    void storeDrops(const tb2::sptr_t<rowvault1::IDatabase>& db);
    Row& rowOf(const CounterKey& key);
    session::Thread& wholeMachine(std::int32_t cpu);
    session::Thread& threadOf(std::int32_t tid);

    const perfdata::Recording& m_recording;
    SampleLoader::Session m_session;
    ProfileContext& m_context;
    CounterRounds m_rounds;
    std::vector<std::pair<std::int32_t, std::string>> m_threads; ///< tid and name, of the map
    bool m_cpusAreNamed = true;
    std::map<std::pair<std::int32_t, std::int32_t>, Row> m_rows; ///< by CPU and thread
    samplefold_1::PerfProcessInfo m_machineInfo;
    session::Process m_machine{m_machineInfo};
    /// Values that were dropped, by event, CPU and reason.
    std::map<std::tuple<const perfdata::Event*, std::int32_t, CounterDrop>, std::uint64_t> m_drops;
    CounterBooks m_books;
    std::uint64_t m_seen = 0; ///< values that could be read
    std::uint64_t m_extrapolated = 0;
    std::set<std::int32_t> m_guessed; ///< threads whose process is not known
};

/// Notes the unit of each counted event that has one, with the factor from counts to it, for the
/// load_info view.
void storeUnits(rowvault1::IResult& store, const perfdata::Recording& recording);

} // namespace samplefold::load
