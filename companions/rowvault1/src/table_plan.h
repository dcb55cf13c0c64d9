#pragma once

#include <rowvault1/schema.h>

#include <cstdint>
#include <string>
#include <vector>

// What the writers and readers of one table need beside its schema: slots and statements. A slot is
// the place of a column among the table's columns, from 0.
namespace rowvault1 {

struct table_plan_t {
    explicit table_plan_t(const schema::table_t& schemaTable);

    /// Slot of a column position, -1 when the table has no such column.
    int slotOf(std::uint16_t position) const noexcept
    {
        return position < slotByPosition.size() ? slotByPosition[position] : -1;
    }
    std::size_t slots() const noexcept { return kinds.size(); }
    bool orderedByTime() const noexcept { return table->kind == schema::table_kind_t::instance; }

    const schema::table_t* table;
    std::vector<schema::kind_t> kinds;    ///< by slot
    std::vector<std::uint16_t> textSlots; ///< slots of kind text
    std::vector<std::int16_t> slotByPosition;
};

/// Slot of the timestamp in an instance table: its last column.
std::size_t timeSlot(const table_plan_t& plan);

/// The statement that creates the table; the row key is the column "id".
std::string createTableSql(const schema::table_t& table);
std::string indexName(const schema::table_t& table);
/// The statement that creates its index; empty when it has none.
std::string createIndexSql(const schema::table_t& table);
std::string createViewSql(const schema::view_t& view);
/// The columns of the table in slot order, quoted, joined by commas, each behind `prefix`.
std::string columnList(const schema::table_t& table);
/// INSERT of all rows of the row source (row_source.h), key first.
std::string insertFromSourceSql(const schema::table_t& table);
/// SELECT of all columns of the row with the key ?1.
std::string selectRowSql(const schema::table_t& table);

} // namespace rowvault1
