#pragma once

#include "session/row_writer.h"
#include "session/table_rows.h"

#include <rowvault1/database.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

namespace samplefold::session {

namespace detail {

inline void readValue(const tb2::variant_t& value, std::string& out)
{
    out = std::string(value.as_text());
}
template <class Integer>
void readValue(const tb2::variant_t& value, Integer& out)
{
    out = static_cast<Integer>(value.integer_bits());
}
inline tb2::variant_t writeValue(const std::string& value)
{
    return value.empty() ? tb2::variant_t() : tb2::variant_t(std::string_view(value));
}
inline tb2::variant_t writeValue(rowvault1::Index value)
{
    return rowvault1::utils::indexToVariant(value);
}
template <class Integer>
tb2::variant_t writeValue(Integer value)
{
    return tb2::variant_t(value);
}
inline void readValue(const tb2::variant_t& value, rowvault1::Index& out)
{
    out = rowvault1::utils::variantToIndex(value);
}

} // namespace detail

/// Rows of an attribute table that are found by some of their columns, each written once. Rows that
/// the result holds already are read at construction, so that a later load reuses them; of equal
/// rows the first one stays. Empty texts are stored as null. Loading thread only.
template <class... Keys>
class KeyedRows {
public:
    using key_t = std::tuple<Keys...>;

    KeyedRows(const tb2::sptr_t<rowvault1::IDatabase>& db, const char* table,
              const std::array<const char*, sizeof...(Keys)>& columns)
        : m_writer(db, table), m_columns(columns)
    {
        readRows(*db, table);
    }

    /// Key of the row with these values. A row that is new is written with them and with whatever
    /// `fill` sets on the writer besides.
    template <class Fill>
    rowvault1::Index findOrAdd(const key_t& key, Fill&& fill)
    {
        const auto [entry, isNew] = m_rows.try_emplace(key);
        if (!isNew) return entry->second;
        m_writer.clear();
        writeKey(key, std::index_sequence_for<Keys...>{});
        fill(m_writer);
        entry->second = m_writer.commit();
        return entry->second;
    }
    rowvault1::Index findOrAdd(const key_t& key)
    {
        return findOrAdd(key, [](RowWriter&) {});
    }

    /// Calls `visit(key, row)` for every row known.
    template <class Visit>
    void forEach(Visit&& visit) const
    {
        for (const auto& [key, row] : m_rows)
            visit(key, row);
    }

private:
    using row_values_t = std::array<tb2::variant_t, sizeof...(Keys) + 1>;

    void readRows(rowvault1::IDatabase& db, const char* table)
    {
        std::array<const char*, sizeof...(Keys) + 1> columns{};
        std::copy(m_columns.begin(), m_columns.end(), columns.begin());
        columns.back() = "rowid";
        readTable(table, db, columns, [this](const row_values_t& row) {
            key_t key;
            readKey(row, key, std::index_sequence_for<Keys...>{});
            m_rows.try_emplace(std::move(key), rowvault1::utils::variantToIndex(row.back()));
        });
    }

    template <std::size_t... I>
    static void readKey(const row_values_t& row, key_t& key, std::index_sequence<I...>)
    {
        (detail::readValue(row[I], std::get<I>(key)), ...);
    }
    template <std::size_t... I>
    void writeKey(const key_t& key, std::index_sequence<I...>)
    {
        (m_writer.set(m_columns[I], detail::writeValue(std::get<I>(key))), ...);
    }

    RowWriter m_writer;
    std::array<const char*, sizeof...(Keys)> m_columns;
    std::map<key_t, rowvault1::Index> m_rows;
};

} // namespace samplefold::session
