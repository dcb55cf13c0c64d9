#include "session/process_table.h"

#include <algorithm>

namespace samplefold::session {

Thread& Process::thread(std::int32_t tid)
{
    std::unique_ptr<Thread>& entry = threads[tid];
    if (!entry) {
        entry = std::make_unique<Thread>();
        entry->tid = tid;
        entry->process = this;
        entry->name = name;
        ++liveThreads;
    }
    return *entry;
}

void Process::startThread(std::int32_t tid, std::uint64_t time)
{
    Thread& started = thread(tid);
    if (!started.alive) ++liveThreads;
    started.alive = true;
    started.start = time;
    started.end = 0;
}

void Process::endThread(std::int32_t tid, std::uint64_t time)
{
    Thread& ended = thread(tid);
    if (ended.alive) --liveThreads;
    ended.alive = false;
    ended.end = time;
}

ProcessTable::ProcessTable() : m_kernel(std::make_unique<Process>(m_kernelInfo))
{
    m_kernel->pid = kernelPid;
    m_kernel->life = -1;
    m_kernel->name = "[kernel]";
}

Process& ProcessTable::addLife(std::int32_t pid, std::uint64_t start)
{
    samplefold_1::VmAuxData::accessor record;
    m_spans.insert(record, static_cast<std::uint32_t>(pid));
    samplefold_1::PerfProcessInfo& info = *record->second.emplace_back();
    // A life without a known start takes its span from the first tick that it is asked for.
    info.firstTsc = start;
    info.lastTsc = start;

    Lives& lives = m_lives[pid];
    auto process = std::make_unique<Process>(info);
    process->pid = pid;
    process->life = static_cast<std::int32_t>(lives.size());
    process->start = start;
    info.owner = reinterpret_cast<std::uintptr_t>(process.get());
    lives.push_back(std::move(process));
    return *lives.back();
}

Process& ProcessTable::newest(std::int32_t pid)
{
    Lives& lives = m_lives[pid];
    return lives.empty() ? addLife(pid, 0) : *lives.back();
}

Process& ProcessTable::begin(std::int32_t pid, std::uint64_t time)
{
    Lives& lives = m_lives[pid];
    const bool taken = !lives.empty() && lives.back()->start == time && lives.back()->end == 0;
    return taken ? *lives.back() : addLife(pid, time);
}

Process& ProcessTable::at(std::int32_t pid, std::uint64_t time)
{
    samplefold_1::VmAuxData::accessor record;
    std::uint64_t index = 0;
    if (m_spans.getProcessState(time, static_cast<std::uint32_t>(pid), index, record) == 0) {
        record.release();
        return addLife(pid, 0);
    }
    return *reinterpret_cast<Process*>(record->second[index].owner);
}

void ProcessTable::inherit(Process& child, Process& parent, std::uint64_t time)
{
    if (&child != &parent) child.space.inherit(parent.space, time, m_room);
}

void ProcessTable::forEach(const std::function<void(Process&)>& visit)
{
    std::vector<std::int32_t> pids;
    for (const auto& [pid, lives] : m_lives)
        pids.push_back(pid);
    std::sort(pids.begin(), pids.end());
    visit(*m_kernel);
    for (const std::int32_t pid : pids) {
        for (const auto& life : m_lives[pid])
            visit(*life);
    }
}

} // namespace samplefold::session
