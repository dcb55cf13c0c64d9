#include "session/task_history.h"

namespace samplefold::session {
namespace {

// Positions in the links of a record, in the kernel's order.
constexpr std::size_t g_pidLink = 3, g_mountLink = 5;

std::uint64_t inodeOf(const perfdata::NamespacesRecord& record, std::size_t link)
{
    return link < record.links.size() ? record.links[link].inode : 0;
}

} // namespace

void TaskHistory::onFork(const perfdata::TaskRecord& record)
{
    m_pids.insert(record.pid);
    if (record.pid == record.parentPid || record.pid <= 0 || record.parentPid <= 0) return;
    m_events.push_back(
        {TaskEvent::Kind::fork, record.pid, record.parentPid, record.time.value_or(0), {}});
}

void TaskHistory::onNamespaces(const perfdata::NamespacesRecord& record)
{
    m_pids.insert(record.pid);
    if (record.pid != record.tid || record.pid <= 0) return;
    m_events.push_back({TaskEvent::Kind::namespaces,
                        record.pid,
                        -1,
                        record.time.value_or(0),
                        {inodeOf(record, g_pidLink), inodeOf(record, g_mountLink)}});
}

void TaskHistory::onCgroup(const perfdata::CgroupRecord& record)
{
    m_cgroups[record.cgroupId] = record.path;
}

std::string_view TaskHistory::cgroupPath(std::uint64_t id) const
{
    const auto found = m_cgroups.find(id);
    return found != m_cgroups.end() ? found->second : std::string_view();
}

} // namespace samplefold::session
