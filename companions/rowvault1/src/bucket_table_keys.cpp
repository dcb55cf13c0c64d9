#include "bucket_table_keys.h"

#include <limits>
#include <utility>

namespace rowvault1 {
namespace {

using limits_t = std::numeric_limits<std::int32_t>;

constexpr std::int64_t g_pageRows = 512;

std::string pageSql(const schema::table_t& table)
{
    const std::string bucket = quoted(bucketColumn);
    return "SELECT DISTINCT " + bucket + " FROM main." + quoted(table.name) + " WHERE " + bucket +
           " > ?1 AND " + bucket + " <= ?2 AND id <= ?3 ORDER BY " + bucket + " LIMIT ?4";
}

} // namespace

BucketKeysImpl::BucketKeysImpl(std::shared_ptr<Store> store, const schema::table_t& table,
                               std::int64_t lastKey)
    : m_store(std::move(store)), m_statement(m_store->connection().prepare(pageSql(table))),
      m_lastKey(lastKey), m_lastBucket(std::int64_t{limits_t::min()} - 1)
{
    readPage();
}

void BucketKeysImpl::next()
{
    if (m_place < m_page.size()) ++m_place;
    if (m_place == m_page.size()) readPage();
}

void BucketKeysImpl::readPage()
{
    m_page.clear();
    m_place = 0;
    if (m_failed || m_lastBucket >= limits_t::max()) return;
    m_store->settle();
    const StatementReset reset(m_statement);
    try {
        m_statement.bindInteger(1, m_lastBucket);
        m_statement.bindInteger(2, limits_t::max());
        m_statement.bindInteger(3, m_lastKey);
        m_statement.bindInteger(4, g_pageRows);
        while (m_statement.step()) {
            const std::int64_t bucket = m_statement.integer(0);
            if (bucket <= m_lastBucket || bucket > limits_t::max())
                throw SqlError(0, "buckets are out of order");
            m_lastBucket = bucket;
            m_page.push_back(static_cast<std::int32_t>(bucket));
        }
    } catch (const SqlError&) {
        m_failed = true;
        m_page.clear();
    }
}

} // namespace rowvault1
