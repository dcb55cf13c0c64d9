#pragma once

#include "bucket_table_schema.h"
#include "connection.h"
#include "row_source.h"
#include "table_writer.h"
#include "writer_queue.h"

#include <rowvault1/result.h>

#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace rowvault1 {

/// The heart of an open result: the one connection, the one open transaction, the tables' writers,
/// and the first failure. All handles of a result share it, and the database closes with the last
/// of them.
///
/// Invariants:
/// 1. The connection is used by the writer thread while batches wait or are written, and by the
/// loading
///    thread only after settle(), up to the next row.
/// 2. After a failure nothing more is written; what was not committed is rolled back.
/// 3. A database that is being changed says that it is incomplete, and said so before the first
/// change. All operations belong to the loading thread, but for hasFailed, fail and write.
class Store {
public:
    Store(std::string path, open_mode_t mode, const result_options_t& options);
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;
    /// Commits what was taken, unless the store has failed.
    ~Store();

    /// The writer of a table of that name; null when the result has none.
    TableWriter* table(std::string_view name);
    /// Makes a band table with the columns of `model`, or opens the one that is there. Null on
    /// failure.
    TableWriter* makeBandTable(std::string_view name, const schema::table_t& attributeTable);
    /// Makes a bucket table that begins with those columns, or opens the one that is there. Null on
    /// failure.
    TableWriter* makeBucketTable(std::string_view name, std::span<const schema::column_t> columns);
    /// Adds a column to a bucket table. False when the result cannot be changed.
    bool addBucketColumn(TableWriter& table, const custom_column_t& column);

    /// Hands all rows over and waits until they are in the database and the writer is idle.
    void settle();
    /// To be called before each change of the database: opens it for change and marks it
    /// incomplete. False when it cannot be changed (read-only, failed, in use by another process).
    bool beginChange();
    /// Begins a transaction where there is none, on the thread that owns the connection. Throws
    /// SqlError.
    void ensureTransaction();
    /// Commits what was handed over so far. Throws StoreError.
    void commitPoint();
    /// Completes the result, see IResult::finish. Throws StoreError.
    void finish();

    void handOver(std::unique_ptr<RowBatch> batch);
    std::unique_ptr<RowBatch> freshBatch(const table_plan_t& plan, std::size_t bytes);

    bool hasFailed() const noexcept { return m_failed.load(std::memory_order_relaxed); }
    /// Notes the first failure and rolls the transaction back. On the thread that owns the
    /// connection.
    void fail(const std::string& reason) noexcept;
    void fail(const SqlError& error) noexcept;
    /// Ends all writing for a reason that the loading thread found; what was taken so far is
    /// committed.
    void stop(const std::string& reason);
    std::string failure() const;
    /// Throws StoreError with the failure, where there was one.
    void throwIfFailed() const;

    /// While a reader has a statement open, changes are refused (assertion "!isReading()").
    void setReading(bool reading) noexcept { m_reading = reading; }

    void setInfo(std::string_view key, std::string_view value);
    std::string info(std::string_view key);

    Connection& connection() noexcept { return m_connection; }
    const std::string& path() const noexcept { return m_path; }
    bool isWritable() const noexcept { return m_mode != open_mode_t::read_only; }

private:
    void write(RowBatch& batch) noexcept;
    void writePartialBatches();
    TableWriter* addTable(const schema::table_t& table);
    const schema::table_t& keptSchema(BucketSchema schema);
    const schema::table_t& asStored(const schema::table_t& table);
    std::int64_t firstFreeKey(const schema::table_t& table);
    void enterChange();
    void leaveChange();
    void releaseFile();
    void commitTransaction();
    void putInfo(std::string_view key, std::string_view value);
    void syncFile();
    void closeQuietly() noexcept;

    const std::string m_path;
    const open_mode_t m_mode;
    const result_options_t m_options;
    Connection m_connection;
    RowSource m_source;
    std::deque<TableWriter> m_tables;
    std::map<std::string_view, TableWriter*> m_tableByName;
    std::deque<std::string> m_bandNames; ///< names of band tables that the registry does not have
    std::deque<schema::table_t> m_bandSchemas;
    std::deque<std::vector<schema::column_t>> m_bandColumns;
    std::deque<BucketSchema> m_bucketSchemas; ///< those that the registry does not have as they are
    bool m_changing = false;
    bool m_reading = false;
    std::int64_t m_dataVersion = 0;
    std::atomic<bool> m_failed{false};
    mutable std::mutex m_failureMutex;
    std::string m_failure;
    std::unique_ptr<WriterQueue> m_queue; ///< last, so that its thread ends first
};

/// The info key that tells whether a load was finished, and its two values.
inline constexpr std::string_view stateKey = "state";
inline constexpr std::string_view stateComplete = "complete";
inline constexpr std::string_view stateIncomplete = "incomplete";
/// The info key that keeps the number of sample rows, so that opening need not count them.
inline constexpr std::string_view instanceRowsKey = "sample_instance_rows";

} // namespace rowvault1
