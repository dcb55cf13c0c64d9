#include "session/module_catalog.h"

#include "session/keyed_rows.h"
#include "session/module_names.h"

namespace samplefold::session {

using rowvault1::Index;
using tb2::variant_t;

std::uint32_t ModuleCatalog::moduleNumber(const SegmentDescription& description)
{
    const auto number = static_cast<std::uint32_t>(m_modules.size());
    const auto [entry, isNew] = m_moduleNumbers.try_emplace(
        {std::string(description.path), std::string(description.buildId)}, number);
    if (isNew) m_modules.push_back({entry->first.first, entry->first.second, {}});
    return entry->second;
}

std::uint32_t ModuleCatalog::segment(const SegmentDescription& description)
{
    const std::uint32_t module = moduleNumber(description);
    const auto offset = static_cast<std::int64_t>(description.offset);
    const auto size = static_cast<std::int64_t>(description.size);
    const auto number = static_cast<std::uint32_t>(m_segments.size());
    const auto [entry, isNew] = m_segmentNumbers.try_emplace({module, offset, size}, number);
    if (isNew) {
        m_segments.push_back(
            {module, offset, size, static_cast<std::int32_t>(description.protection), {}});
    }
    return entry->second;
}

const std::string& ModuleCatalog::modulePath(std::uint32_t segment) const
{
    return m_modules[m_segments[segment].module].path;
}

Index ModuleCatalog::moduleRow(std::uint32_t segment) const
{
    return m_modules[m_segments[segment].module].row;
}

build_ids_t ModuleCatalog::buildIds() const
{
    build_ids_t ids;
    for (const Module& module : m_modules) {
        if (!module.buildId.empty()) ids[module.path] = module.buildId;
    }
    return ids;
}

void ModuleCatalog::store(const tb2::sptr_t<rowvault1::IDatabase>& db, ModuleFiles& files)
{
    storeModules(*db, files);
    storeSegments(db);
}

void ModuleCatalog::storeModules(rowvault1::IDatabase& db, ModuleFiles& files)
{
    std::map<module_key_t, Index> known;
    readTable("dd_module_file", db, std::array{"path", "build_id", "rowid"}, [&](const auto& row) {
        known.try_emplace({std::string(row[0].as_text()), std::string(row[1].as_text())},
                          rowvault1::utils::variantToIndex(row[2]));
    });
    for (Module& module : m_modules) {
        const auto entry = known.find({module.path, module.buildId});
        const bool isKnown = entry != known.end();
        module.row = isKnown ? entry->second : files.add(module.path, module.buildId);
        if (isKnown) files.know(module.row, module.path, module.buildId);
    }
}

void ModuleCatalog::storeSegments(const tb2::sptr_t<rowvault1::IDatabase>& db)
{
    KeyedRows<Index, std::int32_t, std::int64_t, std::int64_t> rows(
        db, "dd_module_segment", {"module", "kind", "offset", "size"});
    for (Segment& segment : m_segments) {
        const Module& module = m_modules[segment.module];
        const SegmentKind kind = isFile(module.path) ? SegmentKind::file : SegmentKind::noFile;
        segment.row = rows.findOrAdd(
            {module.row, static_cast<std::int32_t>(kind), segment.offset, segment.size},
            [&](RowWriter& writer) { writer.set("protection", variant_t(segment.protection)); });
    }
}

} // namespace samplefold::session
