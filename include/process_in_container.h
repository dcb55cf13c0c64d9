#pragma once

#include "export.h"

#include <rowvault1/database.h>
#include <rowvault1/index.h>

#include <cstdint>
#include <map>
#include <string>

namespace samplefold_1 {

/// Turns paths of processes that run in containers into the form of a path in a container: the
/// container's label, a colon, the path as it is seen from inside. Which process is in which
/// container stands in the result. One thread until init has returned; then any.
class SAMPLEFOLD_1_API ProcessInContainer {
public:
    struct ProcessInContainerRecord {
        std::uint32_t pid = 0;
        std::string containerLabel;  ///< put in front of paths
        std::string hostRootPath;    ///< host directory below which the container's files lie
        std::string containerDetail; ///< kept for the driver
        rowvault1::Index rowIndex;   ///< row of dd_process_in_container
    };

    /// Reads nothing yet.
    explicit ProcessInContainer(const tb2::sptr_t<rowvault1::IDatabase>& db);

    /// Reads the tables, the first time only. Of several rows of a process the first counts. A
    /// database without the table of processes is one without rows. Before it no look-up finds
    /// anything.
    void init(const tb2::sptr_t<rowvault1::IDatabase>& db);

    /// Row of a process; -1 when it is in no container.
    rowvault1::Index getIndexByPid(std::uint32_t pid) const;
    /// The inside form of a path in the host's or the container's view. A path in which the host
    /// root occurs loses as many elements as the root has, whatever they are, and two more: the
    /// container's own folder and its file system. Names that are no files and paths of processes
    /// outside containers come back as they are.
    std::string getPathInContainer(std::uint32_t pid, const std::string& path) const;
    /// The same for a path that is the inside view already: only the label is put in front.
    std::string addPrefixToContainerPath(std::uint32_t pid, const std::string& path) const;

private:
    const ProcessInContainerRecord* recordOf(std::uint32_t pid, const std::string& path) const;

    std::map<std::uint32_t, ProcessInContainerRecord> m_records;
    tb2::sptr_t<rowvault1::IAttributeTable> m_processTable;
    tb2::sptr_t<rowvault1::IAttributeTable> m_containerTable;
    bool m_initialized = false;
};

} // namespace samplefold_1
