#include "bucket_table_rows.h"

#include "values.h"

#include <limits>
#include <utility>

namespace rowvault1 {
namespace {

using limits_t = std::numeric_limits<std::int64_t>;

constexpr std::size_t g_pageRows = 512;

// Parameters and first columns of both statements.
enum parameter_t : int { bucketAt = 1, lastKeyAt, limitAt, firstAt, secondAt };
enum column_t : int { keyColumn, sortColumn, firstColumn };

[[noreturn]] void refuseOrder()
{
    throw SqlError(0, "rows are out of order");
}

} // namespace

BucketRowsImpl::BucketRowsImpl(std::shared_ptr<Store> store, const schema::table_t& table,
                               const bucket_walk_t& walk)
    : m_store(std::move(store)), m_walk(walk)
{
    for (std::size_t slot = 0; slot < table.columns.size(); ++slot)
        if (slot != m_walk.bucketSlot) m_kinds.push_back(table.columns[slot].kind);
    if (m_walk.sortSlot)
        prepareSorted(table);
    else
        m_ties =
            m_store->connection().prepare(selectSql(table) + " AND id > ?4 ORDER BY id LIMIT ?3");
    readPage();
}

std::string BucketRowsImpl::selectSql(const schema::table_t& table) const
{
    const auto name = [&](std::size_t slot) { return quoted(table.columns[slot].name); };
    std::string sql = "SELECT id, " + name(m_walk.sortSlot.value_or(0));
    for (std::size_t slot = 0; slot < table.columns.size(); ++slot)
        if (slot != m_walk.bucketSlot) sql += ", " + name(slot);
    // By their keys rows are found without the index, which would have to be sorted for each page.
    return sql + " FROM main." + quoted(table.name) + (m_walk.sortSlot ? "" : " NOT INDEXED") +
           " WHERE " + name(m_walk.bucketSlot) + " = ?1 AND id <= ?2";
}

void BucketRowsImpl::prepareSorted(const schema::table_t& table)
{
    const schema::column_t& column = table.columns[*m_walk.sortSlot];
    const std::string select = selectSql(table) + " AND " + quoted(column.name);
    m_ties = m_store->connection().prepare(select + " IS ?5 AND id > ?4 ORDER BY id LIMIT ?3");
    m_range = m_store->connection().prepare(select + " BETWEEN ?4 AND ?5 ORDER BY " +
                                            quoted(column.name) + ", id LIMIT ?3");
    // The upper half of the unsigned numbers is negative to SQLite.
    m_ranges = {{limits_t::min(), -1}, {0, limits_t::max()}};
    if (column.kind != schema::kind_t::u64) std::swap(m_ranges.front(), m_ranges.back());
}

std::span<const tb2::variant_t> BucketRowsImpl::current() const
{
    if (atEnd()) return {};
    return {&m_values[m_place * m_kinds.size()], m_kinds.size()};
}

void BucketRowsImpl::next()
{
    if (m_place < m_rows) ++m_place;
    if (m_place == m_rows) readPage();
}

std::size_t BucketRowsImpl::room() const noexcept
{
    return g_pageRows - m_rows;
}

void BucketRowsImpl::readPage()
{
    m_rows = 0;
    m_place = 0;
    m_values.clear();
    if (m_failed) return;
    m_store->settle();
    try {
        if (m_inTies) readTies();
        while (room() > 0 && !m_ranges.empty())
            readRange();
    } catch (const SqlError&) {
        m_failed = true;
        m_rows = 0;
    }
}

void BucketRowsImpl::bindWalk(Statement& statement) const
{
    statement.bindInteger(bucketAt, m_walk.bucket);
    statement.bindInteger(lastKeyAt, m_walk.lastKey);
    statement.bindInteger(limitAt, static_cast<std::int64_t>(room()));
}

void BucketRowsImpl::readTies()
{
    const StatementReset reset(m_ties);
    bindWalk(m_ties);
    m_ties.bindInteger(firstAt, m_key);
    if (m_tie) m_ties.bindInteger(secondAt, *m_tie);
    while (m_ties.step()) {
        if (m_ties.integer(keyColumn) <= m_key) refuseOrder();
        takeRow(m_ties);
    }
    m_inTies = room() == 0;
}

void BucketRowsImpl::readRange()
{
    const StatementReset reset(m_range);
    range_t& range = m_ranges.back();
    bindWalk(m_range);
    m_range.bindInteger(firstAt, range.first);
    m_range.bindInteger(secondAt, range.last);
    while (m_range.step()) {
        const std::int64_t value = m_range.integer(sortColumn);
        if (value < range.first || value > range.last) refuseOrder();
        range.first = value;
        takeRow(m_range);
    }
    m_inTies = room() == 0;
    if (m_inTies) m_tie = range.first;
    if (m_inTies && range.first < range.last)
        ++range.first;
    else
        m_ranges.pop_back();
}

void BucketRowsImpl::takeRow(const Statement& statement)
{
    m_key = statement.integer(keyColumn);
    for (std::size_t n = 0; n < m_kinds.size(); ++n)
        m_values.push_back(readColumn(statement, firstColumn + static_cast<int>(n), m_kinds[n]));
    ++m_rows;
}

} // namespace rowvault1
