#pragma once

#include <rowvault1/database.h>
#include <rowvault1/export.h>
#include <toolbelt2/object.h>
#include <toolbelt2/sptr.h>
#include <toolbelt2/variant.h>

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

// Bucket tables: rows of one type, spread over buckets that go by a signed number. What a row
// consists of is told by its declarer, once, in bucket_row_traits_t.
namespace rowvault1 {

/// Type codes of a column; other codes are refused.
inline constexpr int fieldTypeS32 = 6;
inline constexpr int fieldTypeU64 = 9;

/// One column of a bucket table. The texts are copied where they are kept.
struct field_info_t {
    std::uint16_t number; ///< place among the columns, from 0
    const char* name;     ///< letters, digits, underscores; at most 64
    int type;             ///< fieldTypeS32 or fieldTypeU64
    int flag;             ///< 1, a column that is stored; other numbers mean the same
    const char* text;     ///< empty or null; nothing else has a meaning yet
};

/// How a `Row` maps to columns. The declarer of a row type specialises it with
///     static std::span<const field_info_t> fields();  its columns, numbered from 0 without gaps
///     static constexpr std::uint16_t sortColumn;      the column that sort() goes by
///     static void bind(const Row& row, std::span<tb2::variant_t> values);
///     static void read(std::span<const tb2::variant_t> values, Row& row);
/// `values` has one entry per column, s32 or u64 as its type says, or null for an empty one; `read`
/// gets null also for what a damaged file has in its place.
template <class Row>
struct bucket_row_traits_t;

/// Rows to be inserted, given out one by one.
template <class Row>
class ROWVAULT1_API IBulkData {
public:
    /// Fills `row` with the next one; false when there are none left.
    virtual bool next(Row& row) = 0;

protected:
    ~IBulkData() = default;
};

/// Walks rows of a bucket table; what ConstBucketIterator holds.
class ROWVAULT1_API IBucketRows : public tb2::object_interface_t {
public:
    virtual bool atEnd() const = 0;
    /// The columns of the row at the walker, then its custom columns; empty at the end.
    virtual std::span<const tb2::variant_t> current() const = 0;
    virtual void next() = 0;
    virtual bool failed() const = 0;
};

/// Walks the numbers of buckets; what ConstBucketKeyIterator holds.
class ROWVAULT1_API IBucketKeys : public tb2::object_interface_t {
public:
    virtual bool atEnd() const = 0;
    virtual std::int32_t current() const = 0;
    virtual void next() = 0;
    virtual bool failed() const = 0;
};

/// A bucket table without its row type; see GenericBucketTable, which is the way to use it.
class ROWVAULT1_API IBucketTable : public tb2::object_interface_t {
public:
    virtual void setSortCriterion(std::uint16_t column, int order) = 0;
    virtual bool insert(std::int32_t bucket, std::span<const tb2::variant_t> values,
                        std::span<const tb2::variant_t> custom) = 0;
    /// Null when the store has failed.
    virtual tb2::sptr_t<IBucketRows> rows(std::int32_t bucket) = 0;
    virtual tb2::sptr_t<IBucketKeys> keys() = 0;
    virtual bool sort() = 0;
    virtual bool clear() = 0;
    virtual std::uint64_t size() = 0;
    virtual std::uint64_t size(std::int32_t bucket) = 0;
    virtual std::uint16_t addCustomField(const field_info_t& field) = 0;
};

/// The bucket table of that name, made when the result has none. Null for a name that is not made
/// of letters, digits and underscores, for a table that is there with other columns, for fields
/// that cannot be columns, for a database of another store, and when the table would have to be
/// made and the result cannot be changed.
ROWVAULT1_API tb2::sptr_t<IBucketTable> openBucketTable(IDatabase& database, const char* name,
                                                        std::span<const field_info_t> fields);

/// Walks the rows of one bucket; see GenericBucketTable::query. At its end by default. It keeps its
/// database alive and stands in no way of changes: rows inserted after the query are not met, a
/// clear() ends the walk behind the few rows that were read ahead. One thread at a time.
template <class Row>
class ConstBucketIterator {
public:
    ConstBucketIterator() = default;
    explicit ConstBucketIterator(tb2::sptr_t<IBucketRows> rows) : m_rows(std::move(rows))
    {
        readRow();
    }

    bool atEnd() const { return m_rows.is_null() || m_rows->atEnd(); }
    /// The row at the iterator, valid until it moves on; a default one at the end.
    const Row& current() const noexcept { return m_row; }
    /// Value of a custom column of that row, by the distance that addCustomField gave; null for
    /// rows written without it.
    tb2::variant_t custom(std::uint16_t distance) const
    {
        const std::size_t place = bucket_row_traits_t<Row>::fields().size() + distance;
        if (atEnd() || place >= m_rows->current().size()) return {};
        return m_rows->current()[place];
    }
    void next()
    {
        if (atEnd()) return;
        m_rows->next();
        readRow();
    }
    /// True when the walk has ended early, at rows that cannot be read (damaged file).
    bool failed() const { return !m_rows.is_null() && m_rows->failed(); }

private:
    void readRow()
    {
        m_row = Row();
        if (!atEnd()) bucket_row_traits_t<Row>::read(m_rows->current(), m_row);
    }

    tb2::sptr_t<IBucketRows> m_rows;
    Row m_row{};
};

/// Walks the numbers of the buckets that have rows, ascending, each once. At its end by default. It
/// knows the rows that were there at the query. One thread at a time.
class ConstBucketKeyIterator {
public:
    ConstBucketKeyIterator() = default;
    explicit ConstBucketKeyIterator(tb2::sptr_t<IBucketKeys> keys) : m_keys(std::move(keys)) {}

    bool atEnd() const { return m_keys.is_null() || m_keys->atEnd(); }
    /// The bucket at the iterator; 0 at the end.
    std::int32_t current() const { return atEnd() ? 0 : m_keys->current(); }
    void next()
    {
        if (!atEnd()) m_keys->next();
    }
    bool failed() const { return !m_keys.is_null() && m_keys->failed(); }

private:
    tb2::sptr_t<IBucketKeys> m_keys;
};

/// A table of rows of one type, each in a bucket. In the result it has a column per field, the
/// column "bucket" behind them, and then the custom columns; a result that is opened again has its
/// rows, its custom columns and its order. Several objects on one table see the same rows. Queries
/// and sizes count rows that are still queued for writing. One thread at a time.
template <class Row>
class ROWVAULT1_API GenericBucketTable {
public:
    using traits_t = bucket_row_traits_t<Row>;

    /// Opens the table of that name, or makes it, and sets what sort() goes by. See isOpen().
    GenericBucketTable(IDatabase& database, const char* name)
        : m_table(openBucketTable(database, name, traits_t::fields())),
          m_values(traits_t::fields().size())
    {
        if (isOpen()) m_table->setSortCriterion(traits_t::sortColumn, 0);
    }

    /// False when there is no such table (see openBucketTable). All other operations then do
    /// nothing and give false, 0 or InvalidColIdx.
    bool isOpen() const noexcept { return !m_table.is_null(); }

    /// Stores a row. `custom` has values of custom columns by their distance, null or missing ones
    /// leave a column empty. A value that its column cannot hold fires "kindMatches( column )" and
    /// is left out, one for no column "isValidColumn( column )". False when the store has failed or
    /// cannot be written.
    bool insert(std::int32_t bucket, const Row& row, std::span<const tb2::variant_t> custom = {})
    {
        if (!isOpen()) return false;
        traits_t::bind(row, m_values);
        return m_table->insert(bucket, m_values, custom);
    }
    /// Stores all rows that `rows` has left. False when one was not taken: it and those behind it
    /// are not stored, those before it are.
    bool insert(std::int32_t bucket, IBulkData<Row>& rows)
    {
        if (!isOpen()) return false;
        for (Row row{}; rows.next(row); row = Row())
            if (!insert(bucket, row)) return false;
        return true;
    }

    /// Sets `rows` to the first row of the bucket: in the order of insertion, or as sort() says. A
    /// query walks over the whole table, and after sort() over the rows of its bucket only. False,
    /// and at its end, when the store has failed.
    bool query(ConstBucketIterator<Row>& rows, std::int32_t bucket)
    {
        tb2::sptr_t<IBucketRows> found;
        if (isOpen()) found = m_table->rows(bucket);
        rows = ConstBucketIterator<Row>(found);
        return !found.is_null();
    }
    /// Sets `buckets` to the lowest number of a bucket that has rows. False as above.
    bool query(ConstBucketKeyIterator& buckets)
    {
        tb2::sptr_t<IBucketKeys> found;
        if (isOpen()) found = m_table->keys();
        buckets = ConstBucketKeyIterator(found);
        return !found.is_null();
    }

    /// From now on rows of each bucket are read in ascending order of the sort column, empty ones
    /// first, ties in the order of insertion; rows inserted later take their place in it. The order
    /// is kept in the result, as an index, and makes further inserts slower: sort when most rows
    /// are in. False when the result cannot be changed.
    bool sort() { return isOpen() && m_table->sort(); }
    /// Removes the rows of all buckets; columns and order stay. False as above.
    bool clear() { return isOpen() && m_table->clear(); }

    /// Number of rows, in all or in a bucket; after a failure of the store those that it holds.
    std::uint64_t size() { return isOpen() ? m_table->size() : 0; }
    std::uint64_t size(std::int32_t bucket) { return isOpen() ? m_table->size(bucket) : 0; }

    /// Adds a column behind those there, empty in all rows so far, and returns its distance from
    /// the first custom column: 0 for the first. The column that is there with that name and type
    /// is found again. A text fires "Won't be implemented". InvalidColIdx for it, for a name that
    /// is taken or no name, for an unknown type, beyond 40 columns in all, and for a result that
    /// cannot be changed. `number` and `flag` are taken and not used.
    std::uint16_t addCustomField(const field_info_t& field)
    {
        return isOpen() ? m_table->addCustomField(field) : InvalidColIdx;
    }

private:
    tb2::sptr_t<IBucketTable> m_table;
    std::vector<tb2::variant_t> m_values; ///< of the row in hand
};

} // namespace rowvault1
