#include "store.h"

#include "failure_text.h"
#include "result_file.h"

#include <algorithm>

namespace rowvault1 {
namespace {

constexpr std::size_t g_minBatchBytes = std::size_t{4} << 10;
constexpr std::size_t g_maxInstanceBatchBytes = std::size_t{1} << 20;
constexpr std::size_t g_maxBatchBytes = std::size_t{128} << 10;

std::size_t batchBytes(const schema::table_t& table, std::size_t queueBytes)
{
    const bool instance = table.kind == schema::table_kind_t::instance;
    return std::clamp(queueBytes / 16, g_minBatchBytes,
                      instance ? g_maxInstanceBatchBytes : g_maxBatchBytes);
}

} // namespace

Store::Store(std::string path, open_mode_t mode, const result_options_t& options)
    : m_path(std::move(path)), m_mode(mode), m_options(options)
{
    openResultFile(m_connection, m_path, mode, options);
    try {
        for (const schema::table_t& table : schema::tables())
            addTable(asStored(table));
        m_dataVersion = m_connection.integer("PRAGMA data_version", 0);
        if (!isWritable()) return;
        m_source.install(m_connection);
    } catch (const SqlError& error) {
        throw StoreError(failureText("read", m_path, error));
    }
    if (m_options.writerThread)
        m_queue = std::make_unique<WriterQueue>([this](RowBatch& batch) { write(batch); },
                                                m_options.queueBytes);
}

Store::~Store()
{
    closeQuietly();
}

void Store::closeQuietly() noexcept
{
    try {
        settle();
        if (!m_changing || hasFailed()) return;
        commitTransaction();
        leaveChange();
    } catch (const std::exception&) {
        // What was committed before stays, and says that it is incomplete.
    }
}

TableWriter* Store::addTable(const schema::table_t& table)
{
    m_tables.emplace_back(*this, table, firstFreeKey(table),
                          batchBytes(table, m_options.queueBytes));
    m_tableByName[table.name] = &m_tables.back();
    return &m_tables.back();
}

std::int64_t Store::firstFreeKey(const schema::table_t& table)
{
    if (table.kind == schema::table_kind_t::instance) {
        const std::int64_t rows = m_connection.integer(
            "SELECT CAST(value AS INTEGER) FROM main.dd_load_info WHERE \"key\" = '" +
                std::string(instanceRowsKey) + "'",
            -1);
        if (rows >= 0) return rows + 1;
    }
    const std::string sql = "SELECT max(id) FROM main." + quoted(table.name);
    return std::max<std::int64_t>(m_connection.integer(sql, 0), 0) + 1;
}

TableWriter* Store::table(std::string_view name)
{
    const auto found = m_tableByName.find(name);
    return found == m_tableByName.end() ? nullptr : found->second;
}

void Store::settle()
{
    if (m_queue) m_queue->waitIdle();
    writePartialBatches();
}

void Store::writePartialBatches()
{
    for (TableWriter& table : m_tables) {
        if (const std::unique_ptr<RowBatch> batch = table.takeBatch()) write(*batch);
    }
}

void Store::handOver(std::unique_ptr<RowBatch> batch)
{
    if (m_queue)
        m_queue->push(std::move(batch));
    else
        write(*batch);
}

std::unique_ptr<RowBatch> Store::freshBatch(const table_plan_t& plan, std::size_t bytes)
{
    if (m_queue) {
        if (std::unique_ptr<RowBatch> batch = m_queue->takeFree(plan)) return batch;
    }
    return std::make_unique<RowBatch>(plan, bytes);
}

void Store::write(RowBatch& batch) noexcept
{
    if (hasFailed() || batch.empty()) return;
    try {
        ensureTransaction();
        if (batch.plan().orderedByTime()) batch.sortByTime();
        TableWriter& target = *m_tableByName.find(batch.plan().table->name)->second;
        if (!target.insert)
            target.insert = m_connection.prepare(insertFromSourceSql(target.table()));
        m_source.show(&batch);
        target.insert.run();
        m_source.show(nullptr);
    } catch (const SqlError& error) {
        m_source.show(nullptr);
        fail(error);
    } catch (const std::exception& error) {
        m_source.show(nullptr);
        fail(failureText("write", m_path, error.what(), ""));
    }
}

void Store::ensureTransaction()
{
    if (!m_connection.inTransaction()) m_connection.execute("BEGIN");
}

void Store::fail(const SqlError& error) noexcept
{
    fail(failureText("write", m_path, error));
}

void Store::fail(const std::string& reason) noexcept
{
    {
        const std::lock_guard lock(m_failureMutex);
        if (m_failure.empty()) m_failure = reason;
    }
    m_failed = true;
    try {
        if (m_connection.inTransaction()) m_connection.execute("ROLLBACK");
        releaseFile();
    } catch (const SqlError&) {
        // The journal stays, and the next to open the file rolls back.
    }
}

void Store::stop(const std::string& reason)
{
    settle();
    try {
        if (!hasFailed()) commitTransaction();
    } catch (const SqlError& error) {
        fail(error);
    }
    fail(failureText("write", m_path, reason, "load into a new folder"));
}

std::string Store::failure() const
{
    const std::lock_guard lock(m_failureMutex);
    return m_failure;
}

void Store::throwIfFailed() const
{
    if (hasFailed()) throw StoreError(failure());
}

} // namespace rowvault1
