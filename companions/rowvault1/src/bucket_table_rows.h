#pragma once

#include "store.h"

#include <rowvault1/bucket_table.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace rowvault1 {

/// What a walk goes over: the rows of one bucket with keys up to `lastKey`, by their keys, or by a
/// column that an index stands for.
struct bucket_walk_t {
    std::int32_t bucket;
    std::int64_t lastKey;
    std::size_t bucketSlot; ///< the columns before and behind it are read
    std::optional<std::size_t> sortSlot;
};

/// Rows of a bucket, read in pages: between two pages no statement is open, so that the table may
/// be changed while the walk goes on.
class BucketRowsImpl : public IBucketRows {
public:
    /// Throws SqlError.
    BucketRowsImpl(std::shared_ptr<Store> store, const schema::table_t& table,
                   const bucket_walk_t& walk);
    bool atEnd() const override { return m_place == m_rows; }
    std::span<const tb2::variant_t> current() const override;
    void next() override;
    bool failed() const override { return m_failed; }

private:
    /// Values of the sort column that SQLite orders as the column's kind does; both ends included.
    struct range_t {
        std::int64_t first;
        std::int64_t last;
    };

    std::string selectSql(const schema::table_t& table) const;
    void prepareSorted(const schema::table_t& table);
    void readPage();
    void readTies();
    void readRange();
    void bindWalk(Statement& statement) const;
    void takeRow(const Statement& statement);
    std::size_t room() const noexcept;

    std::shared_ptr<Store> m_store;
    bucket_walk_t m_walk;
    std::vector<schema::kind_t> m_kinds; ///< of the columns read
    Statement m_ties;                    ///< rows of one sort value, or all where nothing is sorted
    Statement m_range;                   ///< rows of a range of sort values
    std::vector<range_t> m_ranges;       ///< still to be read, the last one first
    std::optional<std::int64_t> m_tie;   ///< sort value whose rows are read; empty columns first
    std::int64_t m_key = 0;              ///< last key read
    bool m_inTies = true;
    std::vector<tb2::variant_t> m_values; ///< of the page, row by row
    std::size_t m_rows = 0;               ///< of the page
    std::size_t m_place = 0;
    bool m_failed = false;
};

} // namespace rowvault1
