#include "load/sample_loader.h"

#include <algorithm>

namespace samplefold::load {

using perfdata::Sample;
using samplefold_1::pmu_sample_attribute_t;
using session::Severity;

namespace {

/// Samples whose branch records are worked on together.
constexpr std::size_t g_batch = 4096;

std::uint64_t taskKey(const Sample& sample)
{
    return std::uint64_t{static_cast<std::uint32_t>(sample.pid)} << 32 |
           static_cast<std::uint32_t>(sample.tid);
}

bool isGroupRead(const Sample& sample)
{
    return (sample.has & perfdata::sampleBit::Read) != 0;
}

} // namespace

SampleLoader::SampleLoader(const perfdata::Recording& recording, const Session& session,
                           ProfileContext& context, StackLoader& stacks, CpuTimes& cpuTimes,
                           BranchStacks* branches)
    : m_session(session), m_context(context), m_stacks(stacks), m_cpuTimes(cpuTimes),
      m_clock(recording), m_expander(recording), m_branches(branches)
{
}

void SampleLoader::onSample(const Sample& sample)
{
    ++m_books.records;
    const std::uint64_t tick = m_clock.sampleTick(sample.time);
    if (!m_clock.isNumbered() && sample.time == 0) ++m_untimed;
    if (!sample.hasCpu()) ++m_withoutCpu;
    m_lastTick = std::max(m_lastTick, tick);
    if (m_branches == nullptr) return take(sample, tick, {});
    m_waiting.push_back({sample, tick, {}});
    if (m_waiting.size() == g_batch) takeWaiting();
}

/// In the order in which they came, whatever the order in which their branch records were worked
/// on.
void SampleLoader::takeWaiting()
{
    for (auto& [sample, tick, key] : m_waiting)
        key = m_stacks.expect(sample, *taskOf(sample, tick).process, tick);
    m_stacks.resolve();
    for (const auto& [sample, tick, key] : m_waiting)
        take(sample, tick, key);
    m_stacks.endBatch();
    m_waiting.clear();
}

void SampleLoader::finish()
{
    takeWaiting();
    if (m_branches != nullptr) m_branches->finish();
}

void SampleLoader::take(const Sample& sample, std::uint64_t tick, const StackLoader::Key& key)
{
    Task& task = taskOf(sample, tick);
    pmu_sample_attribute_t attr;
    attr.cpu = m_session.attributes.cpu(sample);
    attr.cpu_mode = m_session.attributes.mode(sample.cpuMode());
    attr.mem_access = m_session.attributes.memoryAccess(sample);
    attr.htm_info = m_session.attributes.transaction(sample);
    attr.ip = sample.ip;
    m_stacks.settle(sample, *task.process, tick, key, attr);
    if (attr.lbr_head.exist()) {
        m_branches->addDetails(m_session.processRows.row(task.process->thread(sample.tid)), tick,
                               m_stacks.branchDetails());
    }

    if (!isGroupRead(sample)) {
        add(task, attr, tick, *sample.event, sample.period);
        return;
    }
    const auto members = m_expander.expand(sample);
    if (members.empty()) ++m_books.withoutGrowth;
    if (!members.empty()) m_books.groupExtra += members.size() - 1;
    for (const auto& member : members)
        add(task, attr, tick, *member.event, member.period);
}

void SampleLoader::add(Task& task, pmu_sample_attribute_t& attr, std::uint64_t tick,
                       const perfdata::Event& event, std::uint64_t count)
{
    attr.event_type = m_session.attributes.event(event);
    const auto signedCount = static_cast<std::int64_t>(count);
    m_context.addSample(*task.info, attr, tick, signedCount,
                        static_cast<std::int32_t>(event.index));
    ++m_books.added;
    m_books.countSum += count;
}

SampleLoader::Task& SampleLoader::taskOf(const Sample& sample, std::uint64_t tick)
{
    const std::uint64_t key = taskKey(sample);
    if (m_lastTask == nullptr || key != m_lastKey) {
        m_lastTask = &m_tasks[key];
        m_lastKey = key;
    }
    Task& task = *m_lastTask;
    session::Process* const process = &m_session.processes.at(sample.pid, tick);
    if (task.process == process) return task;

    task.process = process;
    session::Thread& thread = process->thread(sample.tid);
    if (thread.info == nullptr)
        thread.info = m_context.makeThread(m_session.processRows.row(thread));
    task.info = thread.info;
    return task;
}

void SampleLoader::reportQuality()
{
    session::QualityLog& quality = m_session.quality;
    m_stacks.reportQuality(quality);
    quality.add("samples without a time", m_untimed,
                "they were put at the latest tick before them; record with times (-T)",
                Severity::info);
    quality.add("samples without a CPU", m_withoutCpu,
                "record with --sample-cpu to tell CPUs apart", Severity::info);
    quality.add("group reads in which no counter had grown", m_books.withoutGrowth,
                "nothing to do: nothing was counted", Severity::info);
    quality.add("counter values of unknown events", m_expander.unknownIds(),
                "the recording names no event for them", Severity::dataLoss);
    quality.add("mappings that forked processes did not take over",
                m_session.processes.refusedInheritance(),
                "too many processes forked from too many mappings; record fewer at once",
                Severity::error);
}

} // namespace samplefold::load
