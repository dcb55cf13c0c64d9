#include "store.h"

#include "result_file.h"

// Band tables that are made on request.
namespace rowvault1 {

TableWriter* Store::makeBandTable(std::string_view name, const schema::table_t& attributeTable)
{
    if (TableWriter* const known = table(name))
        return known->table().kind == schema::table_kind_t::band ? known : nullptr;
    if (!isPlainName(name)) return nullptr;
    const schema::table_t& model = *schema::findTable("hw_feedback_data");
    m_bandNames.emplace_back(name);
    m_bandColumns.emplace_back(model.columns.begin(), model.columns.end());
    m_bandColumns.back().back().reference = attributeTable.name;
    m_bandSchemas.push_back({m_bandNames.back(), model.kind, model.sentence, m_bandColumns.back()});
    const schema::table_t& table = m_bandSchemas.back();
    settle();
    try {
        if (!hasDefinition(m_connection, "table", name, createTableSql(table))) {
            if (!beginChange()) return nullptr;
            ensureTransaction();
            m_connection.execute(createTableSql(table));
        }
        return addTable(table);
    } catch (const SqlError& error) {
        // A table of that name with other columns: the store itself is sound.
        return nullptr;
    }
}

} // namespace rowvault1
