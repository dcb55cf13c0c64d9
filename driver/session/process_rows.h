#pragma once

#include "session/keyed_rows.h"
#include "session/process_table.h"

namespace samplefold::session {

/// Rows of processes and threads, reused where the result holds them already: a process by pid,
/// life and first tick, a thread by process and tid. Loading thread only.
class ProcessRows {
public:
    explicit ProcessRows(const tb2::sptr_t<rowvault1::IDatabase>& db);

    /// Writes the rows of all processes and threads known so far.
    void store(ProcessTable& processes);
    /// The row of one, written when it is new, its parents' rows before it.
    rowvault1::Index row(Process& process);
    rowvault1::Index row(Thread& thread);

private:
    void writeRow(Process& process);

    KeyedRows<std::int32_t, std::int32_t, std::uint64_t> m_processes;
    KeyedRows<rowvault1::Index, std::int32_t> m_threads;
};

} // namespace samplefold::session
