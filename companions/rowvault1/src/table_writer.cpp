#include "table_writer.h"

#include "store.h"

#include <limits>

namespace rowvault1 {

TableWriter::TableWriter(Store& store, const schema::table_t& table, std::int64_t nextKey,
                         std::size_t batchBytes)
    : m_store(store), m_plans(1, table_plan_t(table)), m_batchBytes(batchBytes),
      m_maxKey(plan().orderedByTime() ? std::numeric_limits<std::int64_t>::max() - 1
                                      : std::numeric_limits<std::int32_t>::max()),
      m_nextKey(nextKey)
{
}

std::int64_t TableWriter::append(const row_values_t& values)
{
    if (m_store.hasFailed()) return -1;
    if (m_batch == nullptr && !beginBatch()) return -1;
    if (m_nextKey > m_maxKey) {
        m_store.stop("table " + std::string(table().name) + " has no row keys left");
        return -1;
    }
    m_batch->append(values);
    const std::int64_t key = m_nextKey++;
    if (m_batch->full()) m_store.handOver(std::move(m_batch));
    return key;
}

void TableWriter::redefine(const schema::table_t& table)
{
    m_plans.emplace_front(table);
    insert = Statement();
    selectRow = Statement();
}

bool TableWriter::beginBatch()
{
    if (!m_store.beginChange()) return false;
    m_batch = m_store.freshBatch(plan(), m_batchBytes);
    m_batch->begin(m_nextKey);
    return true;
}

} // namespace rowvault1
