#pragma once

#include "row_batch.h"

#include "connection.h"

#include <cstdint>
#include <forward_list>
#include <memory>

namespace rowvault1 {

class Store;

/// The writing end of one table: gives out keys and gathers rows into batches. Loading thread only,
/// apart from the insert statement, which belongs to whoever writes (see Store).
class TableWriter {
public:
    TableWriter(Store& store, const schema::table_t& table, std::int64_t nextKey,
                std::size_t batchBytes);

    /// Takes a row; its key, which is final, or -1 when the store does not take rows. Touches no
    /// database, but for the first row after the store was at rest.
    std::int64_t append(const row_values_t& values);
    /// The batch in hand, null when there is none.
    std::unique_ptr<RowBatch> takeBatch() noexcept { return std::move(m_batch); }

    /// Takes the table's new definition, which has columns added. No row may be waiting.
    void redefine(const schema::table_t& table);

    const table_plan_t& plan() const noexcept { return m_plans.front(); }
    const schema::table_t& table() const noexcept { return *plan().table; }
    /// Key of the last row given out, 0 before the first.
    std::int64_t lastKey() const noexcept { return m_nextKey - 1; }
    /// A key for a row that is written by the caller itself.
    std::int64_t takeKey() noexcept { return m_nextKey++; }

    Statement insert;    ///< prepared by the store on first use
    Statement selectRow; ///< prepared by the first record that is read

private:
    bool beginBatch();

    Store& m_store;
    std::forward_list<table_plan_t> m_plans; ///< in force, then former ones: old batches know them
    std::size_t m_batchBytes;
    std::int64_t m_maxKey;
    std::int64_t m_nextKey;
    std::unique_ptr<RowBatch> m_batch;
};

} // namespace rowvault1
