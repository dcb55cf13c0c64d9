#pragma once

#include "perfdata/recording.h"
#include "session/container_option.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace samplefold::session {

/// A container that processes of a recording run in.
struct Container {
    std::string label;
    std::string detail; ///< what is known of it, for people
    std::string root;   ///< the host's directory that it sees as "/"; empty when not known
};

/// Which container a process is in, from a time of the recording on (0: always).
struct ContainerMember {
    std::size_t container = 0; ///< position in ContainerMembers::containers
    std::uint64_t since = 0;
};

/// The containers of a recording and the processes in them. A pid is in one container for good,
/// also when the number is used again: readers of a result know one container per pid.
struct ContainerMembers {
    std::vector<Container> containers;
    std::map<std::int32_t, ContainerMember> byPid;
    std::vector<std::int32_t> unknownPids; ///< those of options that the recording does not have
};

/// Finds the processes that run in containers.
///
/// What the user gave comes first: those processes, and from their forks on the descendants. Then
/// what NAMESPACES records tell: a process is in a container when its pid namespace differs from
/// the outermost one, from the first record that says so on. Outermost is the initial pid namespace
/// where any process has it, else that of the process with the lowest pid; when all have the same
/// one the recording was made inside of a container, and none is in another. A mount namespace of
/// its own makes no container, since services have one that shows the files of the host. Processes
/// without a record of their own take part in their parent's container.
///
/// Without options and NAMESPACES records nothing is read. Otherwise the side-band records are read
/// once, and where samples carry a control group the samples too, until each container has one.
ContainerMembers findContainers(const perfdata::Recording& recording,
                                const std::vector<ContainerOption>& options,
                                const perfdata::ProgressHook& progress);

} // namespace samplefold::session
