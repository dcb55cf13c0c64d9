#include "query_impl.h"

#include "recordset_impl.h"

#include <rowvault1/index.h>

#include <algorithm>
#include <utility>

namespace rowvault1 {
namespace {

constexpr schema::column_t g_rowKey{0, "rowid", schema::kind_t::s32, "", "Row key."};

std::string alias(std::size_t table)
{
    return std::to_string(table).insert(0, 1, 't');
}

const schema::column_t* columnOrKey(const schema::table_t& table, std::string_view name)
{
    return name == g_rowKey.name ? &g_rowKey : schema::findColumn(table, name);
}

std::string columnSql(std::size_t table, std::string_view name)
{
    return alias(table) + '.' + (name == g_rowKey.name ? "id" : quoted(name));
}

} // namespace

QueryImpl::QueryImpl(std::shared_ptr<Store> store, TableWriter& table)
    : m_store(std::move(store)), m_table(table), m_joined{{0, "", &table.table()}}
{
}

const schema::table_t* QueryImpl::referenced(const schema::table_t& table,
                                             std::string_view column) const
{
    const schema::column_t* const found = schema::findColumn(table, column);
    return found == nullptr ? nullptr : schema::findTable(found->reference);
}

std::size_t QueryImpl::join(std::size_t parent, std::string_view column,
                            const schema::table_t& table)
{
    const auto same = [&](const joined_t& other) {
        return !other.column.empty() && other.parent == parent && other.column == column;
    };
    const auto found = std::ranges::find_if(m_joined, same);
    if (found != m_joined.end()) return static_cast<std::size_t>(found - m_joined.begin());
    m_joined.push_back({parent, schema::findColumn(*m_joined[parent].table, column)->name, &table});
    return m_joined.size() - 1;
}

std::uint16_t QueryImpl::addLeaf(std::size_t table, std::string_view name)
{
    const schema::column_t* const column = columnOrKey(*m_joined[table].table, name);
    m_columns.push_back({table, column->name, column->kind});
    return static_cast<std::uint16_t>(m_columns.size() - 1);
}

std::uint16_t QueryImpl::addColumn(const char* name, int,
                                   const tb2::generic_iterator_t<const char*>&, int, int,
                                   const char*)
{
    if (name == nullptr || m_columns.size() >= InvalidColIdx) return InvalidColIdx;
    std::vector<std::string_view> steps;
    std::string_view rest = name;
    const schema::table_t* table = &m_table.table();
    for (std::size_t dot = rest.find('.'); dot != rest.npos; dot = rest.find('.')) {
        steps.push_back(rest.substr(0, dot));
        table = referenced(*table, steps.back());
        if (table == nullptr) return InvalidColIdx;
        rest.remove_prefix(dot + 1);
    }
    if (columnOrKey(*table, rest) == nullptr) return InvalidColIdx;
    std::size_t at = 0;
    for (const std::string_view step : steps)
        at = join(at, step, *referenced(*m_joined[at].table, step));
    return addLeaf(at, rest);
}

std::string QueryImpl::sql() const
{
    std::string text = "SELECT t0.id";
    for (const column_t& column : m_columns)
        text += ", " + columnSql(column.table, column.name);
    text += " FROM main." + quoted(m_table.table().name) + " AS t0";
    for (std::size_t n = 1; n < m_joined.size(); ++n)
        text += " LEFT JOIN main." + quoted(m_joined[n].table->name) + " AS " + alias(n) + " ON " +
                alias(n) + ".id = " + columnSql(m_joined[n].parent, m_joined[n].column);
    return text + " WHERE t0.id > ?1 AND t0.id <= ?2 ORDER BY t0.id LIMIT ?3";
}

tb2::sptr_t<IGenericRecordset> QueryImpl::execute(int, const char*, const char*)
{
    if (m_columns.empty()) return {};
    m_store->settle();
    if (m_store->hasFailed()) return {};
    try {
        std::vector<schema::kind_t> kinds;
        for (const column_t& column : m_columns)
            kinds.push_back(column.kind);
        Statement statement = m_store->connection().prepare(sql());
        return tb2::make_counted<RecordsetImpl>(m_store, std::move(statement), std::move(kinds),
                                                m_table.lastKey());
    } catch (const SqlError&) {
        return {};
    }
}

} // namespace rowvault1
