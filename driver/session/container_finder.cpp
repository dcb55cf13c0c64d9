#include "session/container_finder.h"

#include "session/container_label.h"
#include "session/task_history.h"

#include <algorithm>
#include <set>
#include <utility>

namespace samplefold::session {
namespace {

using perfdata::RecordType;

/// Inode of the initial pid namespace, the same on every machine: PROC_PID_INIT_INO of the kernel.
constexpr std::uint64_t g_initialPidNamespace = 0xEFFFFFFC;

/// What lies outside of all containers, by the rule in the header.
class Outermost {
public:
    explicit Outermost(const std::vector<TaskEvent>& events)
    {
        std::map<std::int32_t, NamespacePair> first; // by pid
        bool hasInitial = false;
        for (const TaskEvent& event : events) {
            if (event.kind != TaskEvent::Kind::namespaces) continue;
            first.try_emplace(event.pid, event.namespaces);
            hasInitial = hasInitial || event.namespaces.pid == g_initialPidNamespace;
        }
        if (first.empty()) return;
        m_pid = hasInitial ? g_initialPidNamespace : first.begin()->second.pid;
    }

    bool isLeft(const NamespacePair& pair) const
    {
        return pair.pid != 0 && m_pid != 0 && pair.pid != m_pid;
    }

private:
    std::uint64_t m_pid = 0;
};

/// Follows the history of the tasks and settles who is in which container. Containers are numbered:
/// those of the options, then those that namespaces tell.
class Follower {
public:
    Follower(const std::vector<TaskEvent>& events, const Outermost& outermost)
        : m_events(events), m_outermost(outermost)
    {
        for (const TaskEvent& event : events) {
            if (event.kind == TaskEvent::Kind::namespaces)
                m_told.insert(event.pid);
            else if (event.time == 0)
                m_earlyChildren[event.parent].push_back(event.pid);
        }
    }

    ContainerMembers follow(const std::vector<ContainerOption>& options)
    {
        giveOptions(options);
        for (const TaskEvent& event : m_events) {
            if (event.kind == TaskEvent::Kind::fork)
                fork(event);
            else if (m_outermost.isLeft(event.namespaces))
                enter(event);
        }
        return std::move(m_members);
    }

    /// The namespaces that tell a container, by its number; those of options are not in it.
    const std::map<std::size_t, NamespacePair>& pairs() const { return m_pairs; }

private:
    bool isGiven(std::size_t container) const { return !m_pairs.contains(container); }

    void giveOptions(const std::vector<ContainerOption>& options)
    {
        auto& containers = m_members.containers;
        for (const ContainerOption& option : options) {
            const auto same = std::find_if(containers.begin(), containers.end(), [&](auto& known) {
                return known.label == option.label;
            });
            const auto number = static_cast<std::size_t>(same - containers.begin());
            if (same == containers.end())
                containers.push_back({option.label, "root " + option.root, option.root});
            m_members.byPid[option.pid] = {number, 0};
        }
        // Children that have an option of their own are in already.
        for (const ContainerOption& option : options)
            addEarlyDescendants(option.pid);
    }

    /// False when the process is in a container already, or tells by itself that it is in none.
    bool add(std::int32_t pid, const ContainerMember& member)
    {
        if (!isGiven(member.container) && m_told.contains(pid)) return false;
        return m_members.byPid.try_emplace(pid, member).second;
    }

    /// Tasks that were there before the recording are told in any order, and a child may have a
    /// lower pid than its parent.
    void addEarlyDescendants(std::int32_t pid)
    {
        std::vector<std::int32_t> parents{pid};
        while (!parents.empty()) {
            const std::int32_t parent = parents.back();
            parents.pop_back();
            const auto children = m_earlyChildren.find(parent);
            if (children == m_earlyChildren.end()) continue;
            for (const std::int32_t child : children->second) {
                if (add(child, m_members.byPid.at(parent))) parents.push_back(child);
            }
        }
    }

    void fork(const TaskEvent& event)
    {
        if (event.time == 0) return;
        if (m_members.byPid.contains(event.pid)) m_usedAgain.insert(event.pid);
        const auto parent = m_members.byPid.find(event.parent);
        if (parent == m_members.byPid.end()) return;
        add(event.pid, {parent->second.container, event.time});
    }

    /// A process that goes on into another container, as those that start containers do, counts for
    /// the last one; a number that is used again does not.
    void enter(const TaskEvent& event)
    {
        const auto known = m_members.byPid.find(event.pid);
        const bool isSettled =
            known != m_members.byPid.end() &&
            (isGiven(known->second.container) || m_usedAgain.contains(event.pid));
        if (isSettled) return;
        const auto [entry, isNew] =
            m_numbers.try_emplace(event.namespaces, m_members.containers.size());
        if (isNew) {
            m_pairs[entry->second] = event.namespaces;
            m_members.containers.emplace_back();
        }
        const bool isSame =
            known != m_members.byPid.end() && known->second.container == entry->second;
        if (isSame) return;
        m_members.byPid[event.pid] = {entry->second, event.time};
        addEarlyDescendants(event.pid);
    }

    const std::vector<TaskEvent>& m_events;
    const Outermost& m_outermost;
    std::set<std::int32_t> m_told;      ///< have a NAMESPACES record of their own
    std::set<std::int32_t> m_usedAgain; ///< numbers of processes in containers
    std::map<std::int32_t, std::vector<std::int32_t>> m_earlyChildren;
    std::map<NamespacePair, std::size_t> m_numbers;
    std::map<std::size_t, NamespacePair> m_pairs;
    ContainerMembers m_members;
};

/// Learns from the samples which control group the processes of containers are in. One process
/// tells it for its container.
class CgroupReader : public perfdata::RecordSink {
public:
    CgroupReader(const ContainerMembers& members, const std::map<std::size_t, NamespacePair>& pairs)
        : m_members(members)
    {
        for (const auto& [pid, member] : members.byPid) {
            if (!pairs.contains(member.container)) continue;
            m_pids.insert(pid);
            m_wanted.insert(member.container);
        }
    }

    bool isNeeded() const { return !m_wanted.empty(); }

    void read(const perfdata::Recording& recording)
    {
        perfdata::DeliveryOptions options;
        options.filter = perfdata::Deliver::Samples;
        options.progress = [this](std::uint64_t, std::uint64_t) {
            return m_found.size() < m_wanted.size();
        };
        recording.deliver(*this, options);
    }

    void onSample(const perfdata::Sample& sample) override
    {
        if ((sample.has & perfdata::sampleBit::Cgroup) == 0 || !m_pids.contains(sample.pid)) return;
        const ContainerMember& member = m_members.byPid.at(sample.pid);
        if (sample.time >= member.since) m_found.try_emplace(member.container, sample.cgroup);
    }

    /// Numbers of the groups by container.
    const std::map<std::size_t, std::uint64_t>& found() const { return m_found; }

private:
    const ContainerMembers& m_members;
    std::set<std::size_t> m_wanted; ///< containers
    std::set<std::int32_t> m_pids;
    std::map<std::size_t, std::uint64_t> m_found;
};

std::string describe(const NamespacePair& pair, std::string_view cgroup)
{
    std::string text;
    const auto add = [&text](const char* what, std::string_view value) {
        text += (text.empty() ? "" : ", ") + std::string(what) + " " + std::string(value);
    };
    if (pair.pid != 0) add("pid namespace", std::to_string(pair.pid));
    if (pair.mount != 0) add("mount namespace", std::to_string(pair.mount));
    if (!cgroup.empty()) add("cgroup", oneLine(cgroup));
    return text;
}

/// Names the containers that namespaces tell. Containers with other files need other labels, also
/// where their groups have one name.
class Labeller {
public:
    Labeller(const TaskHistory& history, std::map<std::size_t, std::uint64_t> cgroups)
        : m_history(history), m_cgroups(std::move(cgroups))
    {
    }

    void name(std::vector<Container>& containers,
              const std::map<std::size_t, NamespacePair>& pairs) const
    {
        std::set<std::string> taken;
        for (const Container& container : containers)
            taken.insert(container.label);
        for (const auto& [number, pair] : pairs) {
            const auto cgroup = m_cgroups.find(number);
            const std::string_view path = cgroup != m_cgroups.end()
                                              ? m_history.cgroupPath(cgroup->second)
                                              : std::string_view();
            std::string label = labelOfCgroup(path);
            if (label.empty()) label = "pidns-" + std::to_string(pair.pid);
            while (!taken.insert(label).second)
                label += "-mntns-" + std::to_string(pair.mount);
            containers[number].label = label;
            containers[number].detail = describe(pair, path);
        }
    }

private:
    const TaskHistory& m_history;
    std::map<std::size_t, std::uint64_t> m_cgroups;
};

bool hasSampledCgroups(const perfdata::Recording& recording)
{
    const auto& events = recording.events();
    return recording.countOf(RecordType::Cgroup) != 0 &&
           std::any_of(events.begin(), events.end(), [](const perfdata::Event& event) {
               return (event.attr.sampleType & perfdata::sampleBit::Cgroup) != 0;
           });
}

} // namespace

ContainerMembers findContainers(const perfdata::Recording& recording,
                                const std::vector<ContainerOption>& options,
                                const perfdata::ProgressHook& progress)
{
    if (options.empty() && recording.countOf(RecordType::Namespaces) == 0) return {};
    TaskHistory history;
    perfdata::DeliveryOptions delivery;
    delivery.filter = perfdata::Deliver::SideBand;
    delivery.progress = progress;
    recording.deliver(history, delivery);

    const Outermost outermost(history.events());
    Follower follower(history.events(), outermost);
    ContainerMembers members = follower.follow(options);
    CgroupReader cgroups(members, follower.pairs());
    if (cgroups.isNeeded() && hasSampledCgroups(recording)) cgroups.read(recording);
    Labeller(history, cgroups.found()).name(members.containers, follower.pairs());
    for (const ContainerOption& option : options) {
        if (!history.knows(option.pid)) members.unknownPids.push_back(option.pid);
    }
    return members;
}

} // namespace samplefold::session
