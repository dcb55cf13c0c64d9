#include "session/containers.h"

#include "session/container_root.h"
#include "session/keyed_rows.h"
#include "session/module_files.h"
#include "session/module_names.h"

#include <utility>

namespace samplefold::session {

using rowvault1::Index;

Containers::Containers(const tb2::sptr_t<rowvault1::IDatabase>& db, ContainerMembers members,
                       QualityLog& quality)
    : m_members(std::move(members)), m_paths(db)
{
    quality.add("processes given with --container that the recording does not have",
                m_members.unknownPids.size(),
                "give the number that the recording has, as report --by process shows it",
                Severity::error);
    if (m_members.byPid.empty()) return;
    store(db);
    m_paths.init(db);
    dropContradicted(quality);
}

void Containers::store(const tb2::sptr_t<rowvault1::IDatabase>& db)
{
    KeyedRows<std::string, std::string> containers(db, "dd_container_desc", {"label", "detail"});
    KeyedRows<std::int64_t> processes(db, "dd_process_in_container", {"pid"});
    for (const auto& [pid, member] : m_members.byPid) {
        const Container& container = containerOf(member);
        const Index row = containers.findOrAdd({container.label, container.detail});
        processes.findOrAdd({std::int64_t{pid}}, [&](RowWriter& writer) {
            writer.set("host_root", detail::writeValue(storedHostRoot(container.root)))
                .set("container", rowvault1::utils::indexToVariant(row));
        });
    }
}

/// The library knows one container per pid, the first that was written.
void Containers::dropContradicted(QualityLog& quality)
{
    const std::size_t dropped = std::erase_if(m_members.byPid, [this](const auto& entry) {
        const auto& [pid, member] = entry;
        const std::string told =
            m_paths.addPrefixToContainerPath(static_cast<std::uint32_t>(pid), "/");
        return told != containerOf(member).label + ":/";
    });
    quality.add("processes whose number is that of one in another container of an earlier load",
                dropped, "their paths are as recorded; load into a new result", Severity::error);
}

std::string Containers::pathOf(std::int32_t pid, std::uint64_t time, std::string_view path) const
{
    std::string recorded(path);
    const auto entry = m_members.byPid.find(pid);
    const bool isInside = entry != m_members.byPid.end() && time >= entry->second.since;
    if (!isInside || !path.starts_with('/') || !isFile(path)) return recorded;
    const auto process = static_cast<std::uint32_t>(pid);
    const std::string& root = containerOf(entry->second).root;
    const std::string whole = normalisedPath(path);
    if (!root.empty() && liesBelow(root, whole)) return m_paths.getPathInContainer(process, whole);
    return m_paths.addPrefixToContainerPath(process, recorded);
}

void Containers::addPathMaps(FileSearchOptions& options) const
{
    for (const Container& container : m_members.containers) {
        if (!container.root.empty())
            options.pathMaps.push_back({container.label + ":", container.root});
    }
}

std::string containerConflict(rowvault1::IDatabase& db, const std::vector<ContainerOption>& options)
{
    std::string conflict;
    readTable("dd_container_desc", db, std::array{"label", "detail"}, [&](const auto& row) {
        for (const ContainerOption& option : options) {
            const bool isOther =
                row[0].as_text() == option.label && row[1].as_text() != "root " + option.root;
            if (isOther && conflict.empty()) {
                conflict = "--container: the label " + option.label +
                           " stands for another container in it (" + std::string(row[1].as_text()) +
                           "): give another label, or load into a new result";
            }
        }
    });
    return conflict;
}

} // namespace samplefold::session
