#pragma once

#include <rowvault1/database.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace samplefold::session {

/// Reads columns of an attribute table, in the order of its keys, and calls `visit(values)` for
/// each row, an array of variants in the order of `columns`. A column is a name, "rowid", or a
/// dotted path
/// ("seg_inst.process"). Rows that wait to be written are seen. Loading thread only.
template <std::size_t N, class Visit>
void readTable(const char* table, rowvault1::IDatabase& db,
               const std::array<const char*, N>& columns, Visit&& visit)
{
    const auto query = db.createQuery(table, 2);
    std::array<std::uint16_t, N> at{};
    for (std::size_t i = 0; i < N; ++i)
        at[i] = query->addColumn(columns[i]);
    for (const auto rows = query->execute(); rows && !rows->atEnd(); rows->next()) {
        const rowvault1::IConstRecord* const row = rows->current();
        if (row == nullptr) return;
        std::array<tb2::variant_t, N> values;
        for (std::size_t i = 0; i < N; ++i)
            values[i] = row->get(at[i]);
        visit(values);
    }
}

} // namespace samplefold::session
