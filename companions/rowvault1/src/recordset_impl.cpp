#include "recordset_impl.h"

#include "values.h"

#include <PORTA_2_18/assert.h>

#include <utility>

namespace rowvault1 {
namespace {

constexpr std::int64_t g_pageRows = 512;

} // namespace

RecordsetImpl::RecordsetImpl(std::shared_ptr<Store> store, Statement statement,
                             std::vector<schema::kind_t> kinds, std::int64_t lastKey)
    : m_store(std::move(store)), m_statement(std::move(statement)), m_kinds(std::move(kinds)),
      m_lastKey(lastKey)
{
    readPage();
}

void RecordsetImpl::next()
{
    if (m_failed) {
        m_failed = false; // the failed page was shown once; nothing comes behind it
        return;
    }
    if (m_place < m_rows) ++m_place;
    if (m_place == m_rows) readPage();
}

const tb2::variant_t& RecordsetImpl::get(std::uint16_t column) const
{
    static const tb2::variant_t none;
    PORTA_ASSERT_TEXT(column < m_kinds.size(), "column < size()");
    if (column >= m_kinds.size()) return none;
    return m_values[m_place * m_kinds.size() + column];
}

void RecordsetImpl::readPage()
{
    m_rows = 0;
    m_place = 0;
    m_values.clear();
    if (m_readKey >= m_lastKey) return;
    m_store->settle();
    const StatementReset reset(m_statement);
    try {
        m_statement.bindInteger(1, m_readKey);
        m_statement.bindInteger(2, m_lastKey);
        m_statement.bindInteger(3, g_pageRows);
        while (m_statement.step())
            readRow();
    } catch (const SqlError&) {
        m_failed = true;
    }
    if (m_failed || m_rows == 0) m_readKey = m_lastKey;
    if (m_failed) m_rows = 0;
}

void RecordsetImpl::readRow()
{
    const std::int64_t key = m_statement.integer(0);
    if (key <= m_readKey) throw SqlError(0, "keys are out of order");
    m_readKey = key;
    for (std::size_t n = 0; n < m_kinds.size(); ++n)
        m_values.push_back(readColumn(m_statement, static_cast<int>(n) + 1, m_kinds[n]));
    ++m_rows;
}

} // namespace rowvault1
