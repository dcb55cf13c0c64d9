#pragma once

#include "session/container_finder.h"
#include "session/quality_log.h"

#include <rowvault1/database.h>
#include <samplefold_1/process_in_container.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace samplefold::session {

struct FileSearchOptions;

/// One line when a label of `options` stands for another container in a result that is appended to;
/// else empty. Asked before a load begins.
std::string containerConflict(rowvault1::IDatabase& db,
                              const std::vector<ContainerOption>& options);

/// The containers of one load: their rows, and the paths that their processes see. Loading thread
/// only.
class Containers {
public:
    /// Writes a row for each container and for each process in one that the result does not have
    /// yet. The row that a pid has from an earlier load stays; where that names another container
    /// the paths of the process are left as recorded, and `quality` tells.
    Containers(const tb2::sptr_t<rowvault1::IDatabase>& db, ContainerMembers members,
               QualityLog& quality);

    /// The path of a mapping that a process made at a time of the recording, as
    /// "LABEL:/inside/path" when the process was in a container then. A path below a root that is
    /// known is the host's view and loses the root; any other is the inside view already. Names
    /// that are no files, and those without a folder, stay.
    std::string pathOf(std::int32_t pid, std::uint64_t time, std::string_view path) const;

    /// Lets searches look for files of containers below their roots, where those are known. Rules
    /// that are there already go before.
    void addPathMaps(FileSearchOptions& options) const;

private:
    void store(const tb2::sptr_t<rowvault1::IDatabase>& db);
    void dropContradicted(QualityLog& quality);
    const Container& containerOf(const ContainerMember& member) const
    {
        return m_members.containers[member.container];
    }

    ContainerMembers m_members;
    samplefold_1::ProcessInContainer m_paths;
};

} // namespace samplefold::session
