#include <samplefold_1/process_in_container.h>

#include "common/table_access.h"

#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/path.hpp>

namespace samplefold_1 {
namespace {

namespace process_column {
constexpr std::uint16_t pid = 0, hostRootPath = 2, container = 3;
}
namespace container_column {
constexpr std::uint16_t label = 0, detail = 1;
}

/// Elements below the host root that name the container's own place: its folder and its root.
constexpr int g_ownElements = 2;

bool isNoFile(const std::string& path)
{
    return path == "[vdso]" || path == "[vsyscall]";
}

/// What is left of a path without as many elements as the root has, and the container's own. The
/// elements are counted, not compared.
std::string insidePath(const boost::filesystem::path& path, const boost::filesystem::path& root)
{
    auto element = path.begin();
    for (auto skipped = root.begin(); skipped != root.end() && element != path.end(); ++skipped)
        ++element;
    for (int i = 0; i < g_ownElements && element != path.end(); ++i)
        ++element;
    boost::filesystem::path inside("/");
    for (; element != path.end(); ++element)
        inside /= *element;
    return inside.string();
}

} // namespace

ProcessInContainer::ProcessInContainer(const tb2::sptr_t<rowvault1::IDatabase>&) {}

void ProcessInContainer::init(const tb2::sptr_t<rowvault1::IDatabase>& db)
{
    if (m_initialized) return;
    m_processTable = tables::open(db, "dd_process_in_container");
    m_containerTable = tables::open(db, "dd_container_desc");
    tables::forEachRow(m_processTable, [this](rowvault1::Index row) {
        const rowvault1::ConstRecord process(m_processTable->getRecord(row));
        ProcessInContainerRecord record;
        const tb2::variant_t pid = process[process_column::pid];
        record.pid = static_cast<std::uint32_t>(pid.integer_bits());
        const tb2::variant_t root = process[process_column::hostRootPath];
        record.hostRootPath = root.as_text();
        const rowvault1::Index container =
            rowvault1::utils::variantToIndex(process[process_column::container]);
        const rowvault1::ConstRecord description(tables::row(m_containerTable, container));
        const tb2::variant_t label = description[container_column::label];
        record.containerLabel = label.as_text();
        const tb2::variant_t detail = description[container_column::detail];
        record.containerDetail = detail.as_text();
        record.rowIndex = row;
        m_records.emplace(record.pid, std::move(record));
    });
    m_initialized = true;
}

rowvault1::Index ProcessInContainer::getIndexByPid(std::uint32_t pid) const
{
    const auto found = m_records.find(pid);
    return found != m_records.end() ? found->second.rowIndex : rowvault1::Index();
}

/// Null where a path stays as it is.
const ProcessInContainer::ProcessInContainerRecord*
ProcessInContainer::recordOf(std::uint32_t pid, const std::string& path) const
{
    if (isNoFile(path)) return nullptr;
    const auto found = m_records.find(pid);
    return found != m_records.end() ? &found->second : nullptr;
}

std::string ProcessInContainer::addPrefixToContainerPath(std::uint32_t pid,
                                                         const std::string& path) const
{
    const ProcessInContainerRecord* const record = recordOf(pid, path);
    return record == nullptr ? path : record->containerLabel + ":" + path;
}

std::string ProcessInContainer::getPathInContainer(std::uint32_t pid, const std::string& path) const
{
    const ProcessInContainerRecord* const record = recordOf(pid, path);
    if (record == nullptr) return path;
    if (path.find(record->hostRootPath) == std::string::npos)
        return record->containerLabel + ":" + path;
    try {
        return record->containerLabel + ":" + insidePath(path, record->hostRootPath);
    } catch (const boost::filesystem::filesystem_error&) {
        return path;
    }
}

} // namespace samplefold_1
