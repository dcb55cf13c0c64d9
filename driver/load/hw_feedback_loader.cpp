#include "load/hw_feedback_loader.h"

#include <algorithm>

namespace samplefold::load {

using session::Severity;
using session::Thread;

namespace {

constexpr std::int32_t g_idleTask = 0;
constexpr std::int32_t g_noRow = -1;
/// A file may name millions, and each is a process in memory.
constexpr std::uint64_t g_mostUnknownThreads = 65'536;

std::uint64_t startOf(const Thread& thread)
{
    return std::max(thread.start, thread.process->start);
}

} // namespace

HwFeedbackLoader::HwFeedbackLoader(const perfdata::Recording& recording,
                                   session::ProcessTable& processes,
                                   session::ProcessRows& processRows, ProfileContext& context)
    : m_recording(recording), m_processes(processes), m_processRows(processRows), m_context(context)
{
}

void HwFeedbackLoader::load(const HwFeedbackFile& file)
{
    m_badLines = file.badLines;
    if (file.reports.empty()) return;
    collectThreads();
    const auto range = m_recording.timeRange();
    for (const HwFeedbackReport& report : file.reports) {
        const bool isInside =
            !range || (report.tick >= range->first && report.tick <= range->second);
        if (!isInside) ++m_outside;
        m_context.loadHwFeedbackData(report.classWord, report.tick, rowOf(report), report.cpu,
                                     report.value);
    }
    m_context.finalizeHwFeedbackData();
}

void HwFeedbackLoader::collectThreads()
{
    m_processes.forEach([this](session::Process& process) {
        for (const auto& [tid, thread] : process.threads)
            m_threads[tid].push_back(thread.get());
    });
    for (auto& [tid, lives] : m_threads) {
        std::ranges::stable_sort(lives, {}, [](const Thread* life) { return startOf(*life); });
    }
}

/// The newest that began at or before the tick, else the oldest; null for an unknown one where
/// there are too many of them already.
Thread* HwFeedbackLoader::threadAt(std::int32_t tid, std::uint64_t tick)
{
    auto known = m_threads.find(tid);
    if (known == m_threads.end()) {
        if (m_unknownThreads == g_mostUnknownThreads) return nullptr;
        ++m_unknownThreads;
        known = m_threads.emplace(tid, std::vector{&m_processes.at(tid, tick).thread(tid)}).first;
    }
    const std::vector<Thread*>& lives = known->second;
    const auto later = std::ranges::upper_bound(
        lives, tick, {}, [](const Thread* thread) { return startOf(*thread); });
    return later == lives.begin() ? *later : *std::prev(later);
}

std::int32_t HwFeedbackLoader::rowOf(const HwFeedbackReport& report)
{
    if (report.thread == g_idleTask) return g_noRow;
    Thread* const thread = threadAt(report.thread, report.tick);
    if (thread != nullptr) return m_processRows.row(*thread).value();
    ++m_reportsOfOthers;
    return g_noRow;
}

void HwFeedbackLoader::reportQuality(session::QualityLog& quality) const
{
    quality.add("lines of the hardware feedback file that are no report", m_badLines,
                "they were left out; mend the file and load again", Severity::error);
    quality.add("threads of hardware feedback that the recording does not know", m_unknownThreads,
                "each stands as a process of its own; record the whole system to have them all",
                Severity::info);
    quality.add("reports of hardware feedback of unknown threads behind the first 65536 of these",
                m_reportsOfOthers,
                "their bands belong to no thread; record the whole system, and check that the "
                "reports are of the recorded machine",
                Severity::dataLoss);
    quality.add("hardware feedback before or behind the recording", m_outside,
                "nothing to do where the reports began earlier or ended later; else give their "
                "ticks by the clock of the recording",
                Severity::info);
}

} // namespace samplefold::load
