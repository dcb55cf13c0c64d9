#include "attribute_table_impl.h"

#include "records.h"

#include <limits>
#include <utility>

namespace rowvault1 {
namespace {

constexpr std::size_t g_pageRows = 1024;

} // namespace

AttributeTableImpl::AttributeTableImpl(std::shared_ptr<Store> store, TableWriter& table)
    : m_store(std::move(store)), m_table(table)
{
}

OrphanRecord AttributeTableImpl::createOrphanRecord()
{
    return OrphanRecord(tb2::make_counted<OrphanRecordImpl>(m_store, m_table));
}

tb2::sptr_t<IRecordInternal> AttributeTableImpl::getRecord(Index key)
{
    if (!key.exist()) return {};
    m_store->settle();
    try {
        auto record = tb2::make_counted<StoredRecordImpl>(m_store, m_table, key);
        if (record->load()) return record;
    } catch (const SqlError&) {
        // A damaged page reads as no row.
    }
    return {};
}

tb2::sptr_t<IRowKeyIterator> AttributeTableImpl::enumerateRows()
{
    return tb2::make_counted<RowKeyIteratorImpl>(m_store, m_table);
}

std::uint64_t AttributeTableImpl::size()
{
    m_store->settle();
    try {
        // Rows are only ever added, so that counting goes on where it stopped.
        m_countedRows +=
            m_store->connection().integer("SELECT count(*) FROM main." + quoted(name()) +
                                              " WHERE id > " + std::to_string(m_countedKey),
                                          0);
        m_countedKey = m_table.lastKey();
    } catch (const SqlError&) {
        return static_cast<std::uint64_t>(m_countedRows);
    }
    return static_cast<std::uint64_t>(m_countedRows);
}

RowKeyIteratorImpl::RowKeyIteratorImpl(std::shared_ptr<Store> store, TableWriter& table)
    : m_store(std::move(store)), m_table(table)
{
}

Index RowKeyIteratorImpl::current() const
{
    return fill() ? Index(m_page[m_place]) : Index();
}

void RowKeyIteratorImpl::next()
{
    if (fill()) ++m_place;
}

bool RowKeyIteratorImpl::fill() const
{
    if (m_place < m_page.size()) return true;
    if (m_lastKey >= m_table.lastKey()) return false;
    readPage();
    return !m_page.empty();
}

void RowKeyIteratorImpl::readPage() const
{
    m_page.clear();
    m_place = 0;
    m_store->settle();
    try {
        Statement statement =
            m_store->connection().prepare("SELECT id FROM main." + quoted(m_table.table().name) +
                                          " WHERE id > ?1 AND id <= ?2 ORDER BY id LIMIT ?3");
        statement.bindInteger(1, m_lastKey);
        statement.bindInteger(2, std::numeric_limits<std::int32_t>::max());
        statement.bindInteger(3, g_pageRows);
        while (statement.step()) {
            const std::int64_t key = statement.integer(0);
            if (key <= m_lastKey) break; // only in a damaged file
            m_lastKey = key;
            m_page.push_back(static_cast<std::int32_t>(key));
        }
    } catch (const SqlError&) {
        m_page.clear();
    }
    if (m_page.empty()) m_lastKey = m_table.lastKey();
}

} // namespace rowvault1
