#include "session/module_catalog.h"

#include <toolbelt2/path.h>

namespace samplefold::session {

using tb2::variant_t;

ModuleCatalog::ModuleCatalog(const tb2::sptr_t<rowvault1::IDatabase>& db)
    : m_moduleRows(db, "dd_module_file", {"path", "build_id"}),
      m_segmentRows(db, "dd_module_segment", {"module", "kind", "offset", "size"})
{
}

bool ModuleCatalog::isFile(std::string_view path)
{
    if (path.empty() || path.front() == '[') return false;
    for (const std::string_view prefix :
         {"//anon", "/anon_hugepage", "/dev/zero", "/SYSV", "anon_inode:", "memfd:", "/memfd:"}) {
        if (path.starts_with(prefix)) return false;
    }
    return true;
}

bool ModuleCatalog::isImage(std::string_view path)
{
    return isFile(path) || path == "[vdso]" || path == "[vsyscall]" || path == "[uprobes]";
}

rowvault1::Index ModuleCatalog::moduleRow(const module_key_t& key)
{
    const std::string& path = std::get<0>(key);
    const rowvault1::Index row = m_moduleRows.findOrAdd(key, [&](RowWriter& writer) {
        const std::string leaf = isFile(path) ? tb2::path_t(path).leaf() : path;
        writer.set("name", variant_t(std::string_view(leaf)));
    });
    m_paths.try_emplace(row.value(), path);
    return row;
}

std::uint32_t ModuleCatalog::segment(const SegmentDescription& description)
{
    const rowvault1::Index module =
        moduleRow({std::string(description.path), std::string(description.buildId)});
    const SegmentKind kind = isFile(description.path) ? SegmentKind::file : SegmentKind::noFile;
    const segment_key_t key{module, static_cast<std::int32_t>(kind),
                            static_cast<std::int64_t>(description.offset),
                            static_cast<std::int64_t>(description.size)};
    const rowvault1::Index row = m_segmentRows.findOrAdd(key, [&](RowWriter& writer) {
        writer.set("protection", variant_t(static_cast<std::int32_t>(description.protection)));
    });
    const auto number = static_cast<std::uint32_t>(m_segments.size());
    const auto [entry, isNew] = m_numbers.try_emplace(row.value(), number);
    if (isNew) m_segments.push_back({row, &m_paths.at(module.value())});
    return entry->second;
}

} // namespace samplefold::session
