#include "table_plan.h"

#include "connection.h"
#include "row_source.h"

namespace rowvault1 {
namespace {

const char* sqlType(schema::kind_t kind)
{
    switch (kind) {
    case schema::kind_t::real:
        return "REAL";
    case schema::kind_t::text:
        return "TEXT";
    default:
        return "INTEGER";
    }
}

std::string columnDefinitions(const schema::table_t& table)
{
    std::string sql;
    for (const schema::column_t& column : table.columns)
        sql += ", " + quoted(column.name) + ' ' + sqlType(column.kind);
    return sql;
}

} // namespace

std::string indexName(const schema::table_t& table)
{
    return std::string(table.name) + "_index";
}

table_plan_t::table_plan_t(const schema::table_t& schemaTable) : table(&schemaTable)
{
    for (const schema::column_t& column : schemaTable.columns) {
        const auto slot = static_cast<std::uint16_t>(kinds.size());
        if (slotByPosition.size() <= column.position)
            slotByPosition.resize(column.position + 1U, -1);
        slotByPosition[column.position] = static_cast<std::int16_t>(slot);
        if (column.kind == schema::kind_t::text) textSlots.push_back(slot);
        kinds.push_back(column.kind);
    }
}

std::size_t timeSlot(const table_plan_t& plan)
{
    return plan.slots() - 1;
}

std::string createTableSql(const schema::table_t& table)
{
    const std::string head = "CREATE TABLE " + quoted(table.name);
    if (table.kind == schema::table_kind_t::instance) {
        const std::string time = quoted(table.columns.back().name);
        return head + "(id INTEGER NOT NULL" + columnDefinitions(table) + ", PRIMARY KEY(" + time +
               ", id)) WITHOUT ROWID";
    }
    return head + "(id INTEGER PRIMARY KEY" + columnDefinitions(table) + ")";
}

std::string createIndexSql(const schema::table_t& table)
{
    if (table.index.empty()) return {};
    return "CREATE INDEX " + quoted(indexName(table)) + " ON " + quoted(table.name) + "(" +
           std::string(table.index) + ")";
}

std::string createViewSql(const schema::view_t& view)
{
    return "CREATE VIEW " + quoted(view.name) + " AS" + std::string(view.select);
}

std::string columnList(const schema::table_t& table)
{
    std::string sql;
    for (const schema::column_t& column : table.columns) {
        if (!sql.empty()) sql += ", ";
        sql += quoted(column.name);
    }
    return sql;
}

std::string insertFromSourceSql(const schema::table_t& table)
{
    std::string sql = "INSERT INTO main." + quoted(table.name) + "(id, " + columnList(table) +
                      ") SELECT " + sourceColumn(0);
    for (std::size_t slot = 0; slot < table.columns.size(); ++slot)
        sql += ", " + sourceColumn(slot + 1);
    return sql + " FROM temp." + std::string(sourceName);
}

std::string selectRowSql(const schema::table_t& table)
{
    return "SELECT " + columnList(table) + " FROM main." + quoted(table.name) + " WHERE id = ?1";
}

} // namespace rowvault1
