#include "result_file.h"
#include "store_change.h"
#include "table_plan.h"

#include <utility>

// Bucket tables that are made on request, and their custom columns.
namespace rowvault1 {

const schema::table_t& Store::keptSchema(BucketSchema schema)
{
    return m_bucketSchemas.emplace_back(std::move(schema)).table();
}

const schema::table_t& Store::asStored(const schema::table_t& table)
{
    if (table.kind != schema::table_kind_t::bucket) return table;
    const auto custom = customColumnsOf(definitionOf(m_connection, "table", table.name), table);
    return custom && !custom->empty() ? keptSchema(widened(table, *custom)) : table;
}

TableWriter* Store::makeBucketTable(std::string_view name,
                                    std::span<const schema::column_t> columns)
{
    if (TableWriter* const known = table(name))
        return hasColumns(known->table(), columns) ? known : nullptr;
    if (!isPlainName(name)) return nullptr;
    const schema::table_t& made = keptSchema(BucketSchema(name, "Rows in buckets.", columns));
    settle();
    try {
        if (!customColumnsOf(definitionOf(m_connection, "table", name), made)) {
            if (!beginChange()) return nullptr;
            ensureTransaction();
            m_connection.execute(createTableSql(made));
        }
        return addTable(asStored(made));
    } catch (const SqlError&) {
        // A table of that name with other columns: the store itself is sound.
        return nullptr;
    }
}

bool Store::addBucketColumn(TableWriter& table, const custom_column_t& column)
{
    const auto alter = [&] {
        m_connection.execute("ALTER TABLE main." + quoted(table.table().name) + " ADD COLUMN " +
                             customColumnSql(column.name, column.kind));
    };
    if (!changeNow(*this, alter)) return false;
    table.redefine(keptSchema(widened(table.table(), {&column, 1})));
    return true;
}

} // namespace rowvault1
