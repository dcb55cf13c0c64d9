#pragma once

#include "perfdata/recording.h"
#include "session/load_clock.h"
#include "session/process_rows.h"
#include "session/process_table.h"
#include "session/quality_log.h"

#include <samplefold_1/cpu_running_data.h>

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace samplefold::load {

/// Turns the context switches of a recording into the spans in which threads were on a CPU, the
/// rows of "cpu_running_data_t". The bucket of a row is the number of its CPU, -1 where the
/// recording does not tell. Idle tasks are left out. Loading thread only.
class CpuTimes {
public:
    /// The arguments outlive the object.
    CpuTimes(const tb2::sptr_t<rowvault1::IDatabase>& db, session::ProcessTable& processes,
             session::ProcessRows& processRows, const perfdata::Recording& recording);

    /// Switches must come in time order.
    void onSwitch(const perfdata::SwitchRecord& record);
    /// Ends the spans that are open at the end of the recording, or of their thread; once.
    void finish(session::QualityLog& quality);

private:
    /// The span that a thread is in. A thread that has not been seen is in one that began before.
    struct State {
        session::Thread* thread = nullptr;
        std::uint64_t since = 0;
        std::int32_t cpu = -1;
        bool isRunning = false;
    };

    State& stateOf(const perfdata::SwitchRecord& record, std::uint64_t tick);
    void store(const State& state, std::uint64_t end);

    session::ProcessTable& m_processes;
    session::ProcessRows& m_processRows;
    rowvault1::GenericBucketTable<samplefold_1::CpuRunningData> m_table;
    std::uint64_t m_firstTick = 0; ///< of the recording
    std::uint64_t m_lastTick = 0;
    std::vector<State> m_states; ///< in the order in which threads were met
    std::unordered_map<session::Thread*, std::size_t> m_numbers; ///< of the states
    std::uint64_t m_begunBefore = 0;
    std::uint64_t m_unpaired = 0;
};

} // namespace samplefold::load
