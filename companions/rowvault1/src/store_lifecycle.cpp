#include "store.h"

#include "failure_text.h"
#include "file_sync.h"

#include <PORTA_2_18/assert.h>

// How a result goes from incomplete to complete and back.
namespace rowvault1 {

bool Store::beginChange()
{
    PORTA_ASSERT_TEXT(!m_reading, "!isReading()");
    if (m_reading || hasFailed() || !isWritable()) return false;
    if (m_changing) return true;
    try {
        enterChange();
    } catch (const SqlError& error) {
        fail(error);
    }
    return m_changing;
}

void Store::enterChange()
{
    // While a load writes, the file stays locked and other processes wait: fewer system calls per
    // commit.
    m_connection.execute("PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = TRUNCATE;"
                         "PRAGMA synchronous = OFF; BEGIN EXCLUSIVE");
    if (m_connection.integer("PRAGMA data_version", 0) != m_dataVersion) {
        fail(failureText("write", m_path, "another process has changed it", "open it again"));
        return;
    }
    if (m_connection.text("SELECT value FROM main.dd_load_info WHERE \"key\" = 'state'") !=
        stateIncomplete)
        putInfo(stateKey, stateIncomplete);
    m_connection.execute("COMMIT");
    m_changing = true;
}

void Store::releaseFile()
{
    m_connection.execute("PRAGMA journal_mode = DELETE; PRAGMA locking_mode = NORMAL");
    // The lock goes with the first read in the new mode.
    m_connection.integer("SELECT count(*) FROM main.sqlite_schema", 0);
}

void Store::leaveChange()
{
    releaseFile();
    m_dataVersion = m_connection.integer("PRAGMA data_version", 0);
    m_changing = false;
}

void Store::commitTransaction()
{
    if (!m_connection.inTransaction()) return;
    if (const TableWriter* const instances = table("sample_instance"))
        putInfo(instanceRowsKey, std::to_string(instances->lastKey()));
    m_connection.execute("COMMIT");
}

void Store::commitPoint()
{
    settle();
    throwIfFailed();
    try {
        commitTransaction();
    } catch (const SqlError& error) {
        fail(error);
    }
    throwIfFailed();
}

void Store::finish()
{
    commitPoint();
    if (!isWritable())
        throw StoreError(failureText("finish", m_path, "it is open for reading only", ""));
    if (!beginChange()) throwIfFailed();
    try {
        // First the rows reach the disk, then the word that they are complete.
        syncFile();
        m_connection.execute("PRAGMA synchronous = FULL; BEGIN");
        putInfo(stateKey, stateComplete);
        commitTransaction();
        leaveChange();
    } catch (const SqlError& error) {
        fail(error);
    }
    throwIfFailed();
}

void Store::syncFile()
{
    if (const std::string reason = syncToDisk(m_connection, m_path); !reason.empty())
        fail(failureText("write", m_path, reason, "check the disk and load again"));
    throwIfFailed();
}

void Store::putInfo(std::string_view key, std::string_view value)
{
    Statement change =
        m_connection.prepare("UPDATE main.dd_load_info SET value = ?2 WHERE \"key\" = ?1");
    change.bindText(1, key);
    change.bindText(2, value);
    change.run();
    if (m_connection.integer("SELECT changes()", 0) > 0) return;
    Statement insert = m_connection.prepare(
        "INSERT INTO main.dd_load_info(id, \"key\", value) VALUES(?1, ?2, ?3)");
    insert.bindInteger(1, table("dd_load_info")->takeKey());
    insert.bindText(2, key);
    insert.bindText(3, value);
    insert.run();
}

void Store::setInfo(std::string_view key, std::string_view value)
{
    settle();
    throwIfFailed();
    if (!beginChange()) {
        throwIfFailed();
        throw StoreError(failureText("write", m_path, "it is open for reading only", ""));
    }
    try {
        ensureTransaction();
        putInfo(key, value);
    } catch (const SqlError& error) {
        fail(error);
    }
    throwIfFailed();
}

std::string Store::info(std::string_view key)
{
    settle();
    try {
        Statement statement = m_connection.prepare(
            "SELECT value FROM main.dd_load_info WHERE \"key\" = ?1 ORDER BY id DESC LIMIT 1");
        statement.bindText(1, key);
        return statement.step() ? statement.text(0) : std::string();
    } catch (const SqlError&) {
        return {};
    }
}

} // namespace rowvault1
