#include "load/branch_stacks.h"

#include <span>

namespace samplefold::load {

using session::Process;

BranchStacks::BranchStacks(const BranchOptions& options, bool storesEachSample,
                           const Session& session)
    : m_session(session), m_setting{options, &session.context,
                                    &session.processes.kernel().space.segmentMap(),
                                    session.jit.symbols()},
      m_pool(m_setting, session.context.getDb(), session.files.folder()),
      m_rows(session.context.getDb()), m_storesRows(storesEachSample)
{
    prepare(session.processes.kernel());
}

void BranchStacks::tell(std::uint64_t key, const perfdata::Sample& sample, Process& process,
                        std::uint64_t tick, const std::vector<Frame>& software)
{
    m_numbers.emplace(key, m_tasks.size());
    BranchTask& task = m_tasks.emplace_back();
    task.ip = sample.ip;
    task.tick = tick;
    task.jitTime = m_session.jit.jitTime(tick);
    task.pid = static_cast<std::uint32_t>(process.pid);
    task.kind = branchKindOf(*sample.event);
    task.userSegments = &process.space.segmentMap();
    takeRecords(sample, task.records);
    task.software = software;
}

/// Everything that workers ask for afterwards is there then, so that they only read.
void BranchStacks::prepare(Process& owner)
{
    if (!m_prepared.insert(&owner).second) return;
    m_session.places.settleMappings(owner, [this](samplefold_1::SegInstInfo& segment) {
        segment.modulePath = m_session.files.known(segment.moduleIndex);
        m_pool.knowSegment(segment);
    });
    owner.space.segmentMap().findSegInst(0, 0);
}

void BranchStacks::resolve()
{
    m_pool.run(std::span(m_tasks).subspan(m_resolved));
    m_resolved = m_tasks.size();
}

void BranchStacks::endBatch()
{
    m_tasks.clear();
    m_numbers.clear();
    m_resolved = 0;
}

std::size_t BranchStacks::noteInBooks(const BranchTask& task, Process& process)
{
    return m_quality.add(task, [&](std::uint64_t address) {
        Process& owner =
            frameSpaceOf(address) == Space::kernel ? m_session.processes.kernel() : process;
        const auto* const segment = owner.space.segmentMap().findSegInst(address, task.tick);
        return segment != nullptr ? segment->moduleIndex : rowvault1::Index();
    });
}

void BranchStacks::finish()
{
    m_quality.store(m_session.context.getDb());
}

} // namespace samplefold::load
