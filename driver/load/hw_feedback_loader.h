#pragma once

#include "load/hw_feedback_file.h"
#include "load/profile_context.h"
#include "perfdata/recording.h"
#include "session/process_rows.h"
#include "session/process_table.h"
#include "session/quality_log.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace samplefold::load {

/// Hands reports of hardware feedback to the context, which folds them into bands on the timelines
/// of threads. A thread id means the thread that had it at the tick of the report; one that the
/// recording does not know becomes a process of that number, the first 65536 of them. Bands of the
/// idle task, which runs on all CPUs at once, belong to no thread. Loading thread only.
class HwFeedbackLoader {
public:
    /// The arguments outlive the object.
    HwFeedbackLoader(const perfdata::Recording& recording, session::ProcessTable& processes,
                     session::ProcessRows& processRows, ProfileContext& context);

    /// Loads all reports of a file and ends the bands; once, when all threads are known.
    void load(const HwFeedbackFile& file);
    /// Adds what was left out or guessed to the quality log; once, after the load.
    void reportQuality(session::QualityLog& quality) const;

private:
    void collectThreads();
    session::Thread* threadAt(std::int32_t tid, std::uint64_t tick);
    std::int32_t rowOf(const HwFeedbackReport& report);

    const perfdata::Recording& m_recording;
    session::ProcessTable& m_processes;
    session::ProcessRows& m_processRows;
    ProfileContext& m_context;
    /// Lives of each thread id by rising start.
    std::unordered_map<std::int32_t, std::vector<session::Thread*>> m_threads;
    std::uint64_t m_badLines = 0;
    std::uint64_t m_unknownThreads = 0;  ///< those that became a process
    std::uint64_t m_reportsOfOthers = 0; ///< reports of unknown threads behind these
    std::uint64_t m_outside = 0;         ///< reports before or behind the recording
};

} // namespace samplefold::load
