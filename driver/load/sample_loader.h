#pragma once

#include "load/cpu_times.h"
#include "load/profile_context.h"
#include "load/stack_loader.h"
#include "perfdata/recording.h"
#include "session/attribute_rows.h"
#include "session/load_clock.h"
#include "session/process_rows.h"
#include "session/process_table.h"
#include "session/quality_log.h"

#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

namespace samplefold::load {

/// What became of the samples that were delivered.
struct SampleBooks {
    std::uint64_t records = 0;       ///< sample records seen
    std::uint64_t groupExtra = 0;    ///< samples that group reads gave beyond one per record
    std::uint64_t withoutGrowth = 0; ///< group reads in which no counter had grown: dropped
    std::uint64_t added = 0;         ///< samples handed to the library
    std::uint64_t countSum = 0;      ///< sum of their counts (wraps)
};

/// Takes the samples of a recording, the second pass, and hands each to the context with its
/// attribute: process, thread, where it was, event, CPU, mode. Context switches among them go to
/// the CPU times. Loading thread only.
class SampleLoader : public perfdata::RecordSink {
public:
    struct Session {
        session::ProcessTable& processes;
        session::ProcessRows& processRows;
        session::AttributeRows& attributes;
        session::QualityLog& quality;
    };

    /// The arguments outlive the object. Without branch stacks those of the samples are left out.
    SampleLoader(const perfdata::Recording& recording, const Session& session,
                 ProfileContext& context, StackLoader& stacks, CpuTimes& cpuTimes,
                 BranchStacks* branches = nullptr);

    void onSample(const perfdata::Sample& sample) override;
    /// Hands over what still waits; once, after the pass.
    void finish();
    void onSwitch(const perfdata::SwitchRecord& record) override { m_cpuTimes.onSwitch(record); }

    const SampleBooks& books() const { return m_books; }
    std::uint64_t lastTick() const { return m_lastTick; }
    /// Adds what was counted on the way to the quality log; once, after the pass.
    void reportQuality();

private:
    struct Waiting {
        perfdata::Sample sample;
        std::uint64_t tick;
        StackLoader::Key key;
    };
    struct Task {
        session::Process* process = nullptr;
        samplefold_1::ThreadInfo* info = nullptr;
    };

    void take(const perfdata::Sample& sample, std::uint64_t tick, const StackLoader::Key& key);
    void takeWaiting();
    Task& taskOf(const perfdata::Sample& sample, std::uint64_t tick);
    void add(Task& task, samplefold_1::pmu_sample_attribute_t& attr, std::uint64_t tick,
             const perfdata::Event& event, std::uint64_t count);

    Session m_session;
    ProfileContext& m_context;
    StackLoader& m_stacks;
    CpuTimes& m_cpuTimes;
    session::LoadClock m_clock;
    perfdata::ReadExpander m_expander;
    std::unordered_map<std::uint64_t, Task> m_tasks; ///< by pid and tid, of the life used last
    std::uint64_t m_lastKey = 0;
    Task* m_lastTask = nullptr;
    std::uint64_t m_lastTick = 0;
    /// Samples that wait for others, so that the work on their branch records is done together.
    std::vector<Waiting> m_waiting;
    BranchStacks* m_branches;
    SampleBooks m_books;
    std::uint64_t m_untimed = 0;
    std::uint64_t m_withoutCpu = 0;
};

} // namespace samplefold::load
