#include "load/cpu_times.h"

#include <algorithm>

namespace samplefold::load {

using perfdata::SwitchRecord;
using session::Severity;
using session::Thread;

CpuTimes::CpuTimes(const tb2::sptr_t<rowvault1::IDatabase>& db, session::ProcessTable& processes,
                   session::ProcessRows& processRows, const perfdata::Recording& recording)
    : m_processes(processes), m_processRows(processRows),
      m_table(*db, rowvault1::cpu_running_data_t::s_tableName)
{
    const auto range = recording.timeRange();
    if (!range) return;
    m_firstTick = range->first;
    m_lastTick = range->second;
}

void CpuTimes::onSwitch(const SwitchRecord& record)
{
    const std::uint64_t tick = record.time.value_or(0);
    const bool isIdle = record.taskTid.value_or(0) == 0;
    if (tick == 0 || isIdle) return;
    State& state = stateOf(record, tick);
    if (record.isOut()) {
        if (state.isRunning) {
            store(state, tick);
        } else {
            ++m_unpaired;
        }
        state.isRunning = false;
        return;
    }
    if (state.isRunning) ++m_unpaired;
    state.isRunning = true;
    state.since = tick;
    state.cpu = record.cpu ? static_cast<std::int32_t>(*record.cpu) : -1;
}

/// A thread whose first switch takes it off its CPU has been there since it began, or since the
/// recording did.
CpuTimes::State& CpuTimes::stateOf(const SwitchRecord& record, std::uint64_t tick)
{
    session::Process& process = m_processes.at(record.taskPid.value_or(-1), tick);
    Thread& thread = process.thread(*record.taskTid);
    const auto [entry, isNew] = m_numbers.try_emplace(&thread, m_states.size());
    if (isNew) m_states.emplace_back();
    State& state = m_states[entry->second];
    if (!isNew) return state;
    state.thread = &thread;
    if (!record.isOut()) return state;
    ++m_begunBefore;
    state.isRunning = true;
    // A thread whose number is used again has the start of the newest.
    state.since = thread.start <= tick ? std::max(m_firstTick, thread.start) : m_firstTick;
    state.cpu = record.cpu ? static_cast<std::int32_t>(*record.cpu) : -1;
    return state;
}

void CpuTimes::store(const State& state, std::uint64_t end)
{
    if (end < state.since) return;
    m_table.insert(state.cpu, {m_processRows.row(*state.thread), state.since, end});
}

void CpuTimes::finish(session::QualityLog& quality)
{
    for (const State& state : m_states) {
        if (!state.isRunning) continue;
        const std::uint64_t end = state.thread->end;
        store(state, end >= state.since ? end : m_lastTick);
    }
    quality.add("threads that were on a CPU before the first switch that tells of them",
                m_begunBefore, "their first span begins with the recording, or with the thread",
                Severity::info);
    quality.add("context switches without their counterpart", m_unpaired,
                "the span between is not known; record with a larger ring buffer (-m)",
                Severity::error);
}

} // namespace samplefold::load
