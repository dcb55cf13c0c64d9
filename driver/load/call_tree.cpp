#include "load/call_tree.h"

#include "session/table_rows.h"

namespace samplefold::load {

using rowvault1::utils::variantToIndex;
using samplefold_1::Index;

CallTree::CallTree(rowvault1::IDatabase& db)
{
    session::readTable("dd_callsite", db,
                       std::array{"rowid", "parent", "code_loc.mod_seg", "code_loc.rva"},
                       [this](const auto& row) {
                           add(variantToIndex(row[1]), variantToIndex(row[2]),
                               row[3].integer_bits(), variantToIndex(row[0]));
                       });
}

std::size_t CallTree::Hash::operator()(const Node& node) const noexcept
{
    // The constants are large odd numbers; the shifts bring high bits to where a table looks.
    const auto parent = static_cast<std::uint32_t>(node.parent);
    const auto segment = static_cast<std::uint32_t>(node.segment);
    std::uint64_t hash = node.rva * 0x9e3779b97f4a7c15U;
    hash ^= (std::uint64_t{parent} << 32 | segment) * 0xc2b2ae3d27d4eb4fU;
    hash ^= hash >> 29;
    hash *= 0x165667b19e3779f9U;
    return hash ^ hash >> 32;
}

Index CallTree::find(Index parent, Index segment, std::uint64_t rva) const
{
    const auto entry = m_callsites.find({parent.value(), segment.value(), rva});
    return entry != m_callsites.end() ? Index(entry->second) : Index();
}

void CallTree::add(Index parent, Index segment, std::uint64_t rva, Index callsite)
{
    m_callsites.try_emplace({parent.value(), segment.value(), rva}, callsite.value());
}

} // namespace samplefold::load
