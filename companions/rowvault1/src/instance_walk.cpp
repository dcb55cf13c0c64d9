#include "instance_walk.h"

#include "instance_slots.h"

#include <sqlite3.h>

#include <limits>

namespace rowvault1 {
namespace {

constexpr std::size_t g_pageRows = 512;
constexpr int g_firstColumn = 1; // column 0 is the row's number

int columnOf(std::size_t slot)
{
    return g_firstColumn + static_cast<int>(slot);
}

instance_row_t readRow(const Statement& statement)
{
    instance_row_t row;
    row.timestamp = static_cast<std::uint64_t>(statement.integer(columnOf(timestampSlot)));
    for (std::size_t n = 0; n < instanceKeyColumns; ++n)
        if (const int column = columnOf(firstKeySlot + n); !statement.isNull(column))
            row.keys[n] = static_cast<std::int32_t>(statement.integer(column));
    for (std::size_t n = 0; n < instanceIntegerColumns; ++n)
        if (const int column = columnOf(firstIntegerSlot + n); !statement.isNull(column))
            row.integers[n] = static_cast<std::uint64_t>(statement.integer(column));
    for (std::size_t n = 0; n < instanceDoubleColumns; ++n)
        if (const int column = columnOf(firstDoubleSlot + n); !statement.isNull(column))
            row.doubles[n] = sqlite3_column_double(statement.get(), column);
    return row;
}

std::string pageSql(const schema::table_t& table)
{
    const std::string time = quoted(table.columns.back().name);
    return "SELECT id, " + columnList(table) + " FROM main." + quoted(table.name) + " WHERE (" +
           time + ", id) > (?1, ?2) AND " + time + " <= ?3 ORDER BY " + time + ", id LIMIT ?4";
}

} // namespace

InstanceWalk::InstanceWalk(Store& store, const schema::table_t& table) : m_store(store)
{
    m_store.settle();
    try {
        m_statement = m_store.connection().prepare(pageSql(table));
    } catch (const SqlError&) {
        // A damaged database gives no rows.
    }
}

bool InstanceWalk::run(std::uint64_t first, std::uint64_t last, IInstanceReader& reader)
{
    if (!m_statement) return false;
    m_time = static_cast<std::int64_t>(first);
    m_number = std::numeric_limits<std::int64_t>::min();
    while (readPage(last)) {
        if (m_page.empty()) return true;
        for (const instance_row_t& row : m_page)
            if (!reader.onInstance(row)) return false;
    }
    return false;
}

bool InstanceWalk::readPage(std::uint64_t last)
{
    m_page.clear();
    m_store.settle();
    const StatementReset reset(m_statement);
    try {
        m_statement.bindInteger(1, m_time);
        m_statement.bindInteger(2, m_number);
        m_statement.bindInteger(3, static_cast<std::int64_t>(last));
        m_statement.bindInteger(4, g_pageRows);
        while (m_statement.step()) {
            m_page.push_back(readRow(m_statement));
            const auto time = static_cast<std::int64_t>(m_page.back().timestamp);
            const std::int64_t number = m_statement.integer(0);
            if (time < m_time || (time == m_time && number <= m_number))
                return false; // a damaged file
            m_time = time;
            m_number = number;
        }
    } catch (const SqlError&) {
        return false;
    }
    return true;
}

} // namespace rowvault1
