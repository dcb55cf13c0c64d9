#pragma once

#include "perfdata/record_sink.h"

#include <compare>
#include <cstdint>
#include <map>
#include <set>
#include <string_view>
#include <vector>

namespace samplefold::session {

/// The namespaces that tell a container, by inode; 0 where the recorder could not read one.
struct NamespacePair {
    std::uint64_t pid = 0;
    std::uint64_t mount = 0;

    auto operator<=>(const NamespacePair&) const = default;
};

/// A fork of a process, or the namespaces that a process told.
struct TaskEvent {
    enum class Kind { fork, namespaces };

    Kind kind{};
    std::int32_t pid = -1;
    std::int32_t parent = -1; ///< of a fork
    std::uint64_t time = 0;   ///< 0 for what was so before the recording
    NamespacePair namespaces;
};

/// Notes what a recording tells about containers, in the order of its records. Threads are left
/// out: runtimes send single threads into other mount namespaces to prepare containers.
class TaskHistory : public perfdata::RecordSink {
public:
    void onComm(const perfdata::CommRecord& record) override { m_pids.insert(record.pid); }
    void onMmap(const perfdata::MmapRecord& record) override { m_pids.insert(record.pid); }
    void onFork(const perfdata::TaskRecord& record) override;
    void onNamespaces(const perfdata::NamespacesRecord& record) override;
    void onCgroup(const perfdata::CgroupRecord& record) override;

    const std::vector<TaskEvent>& events() const { return m_events; }
    bool knows(std::int32_t pid) const { return m_pids.contains(pid); }
    /// Path of a control group; empty when the recording does not tell it. Lives as long as the
    /// recording.
    std::string_view cgroupPath(std::uint64_t id) const;

private:
    std::vector<TaskEvent> m_events;
    std::set<std::int32_t> m_pids;
    std::map<std::uint64_t, std::string_view> m_cgroups;
};

} // namespace samplefold::session
