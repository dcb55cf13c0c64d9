#include "result_file.h"

#include "bucket_table_schema.h"
#include "connection.h"
#include "failure_text.h"
#include "store.h"
#include "table_plan.h"

#include <sqlite3.h>

#include <filesystem>
#include <system_error>

namespace rowvault1 {
namespace {

constexpr std::int64_t g_applicationId = 0x52764c31;
constexpr int g_pageBytes = 16384;
constexpr std::string_view g_noResult = "it is no result";
constexpr std::string_view g_otherFolder = "choose another folder";

[[noreturn]] void refuse(const std::string& path, std::string_view reason, std::string_view remedy)
{
    throw StoreError(failureText("open", path, reason, remedy));
}

void setUp(Connection& connection, open_mode_t mode, const result_options_t& options)
{
    connection.execute("PRAGMA cache_size = -" + std::to_string(options.cacheBytes >> 10));
    connection.execute("PRAGMA temp_store = FILE");
    if (mode == open_mode_t::read_only) connection.execute("PRAGMA query_only = ON");
}

void insertRow(Connection& connection, const char* sql)
{
    connection.execute(std::string("INSERT INTO main.") + sql);
}

void createAll(Connection& connection)
{
    // The page size holds from the first write on; a file that is killed in here rolls back to
    // nothing.
    connection.execute("PRAGMA page_size = " + std::to_string(g_pageBytes) + "; BEGIN EXCLUSIVE");
    connection.execute("PRAGMA application_id = " + std::to_string(g_applicationId));
    connection.execute("PRAGMA user_version = " + std::to_string(schema::version));
    for (const schema::table_t& table : schema::tables())
        connection.execute(createTableSql(table) + ';' + createIndexSql(table));
    for (const schema::view_t& view : schema::views())
        connection.execute(createViewSql(view));
    insertRow(connection, "dd_load_info(\"key\", value) VALUES('state', 'incomplete')");
    insertRow(connection, "band_binding(data_name, attribute_table, owner_table)"
                          " VALUES('sample_band', 'dd_sample', 'dd_thread')");
    connection.execute("COMMIT");
}

void checkIdentity(Connection& connection, const std::string& path)
{
    if (connection.integer("PRAGMA page_count", 0) == 0)
        refuse(path, "it holds nothing", "the load was stopped before it began, load again");
    if (connection.integer("PRAGMA application_id", 0) != g_applicationId)
        refuse(path, g_noResult, g_otherFolder);
    const std::int64_t version = connection.integer("PRAGMA user_version", 0);
    if (version > schema::version)
        refuse(path,
               "its schema version " + std::to_string(version) + " is newer than " +
                   std::to_string(schema::version),
               "use a newer version of this program");
    if (version < schema::version)
        refuse(path, "its schema version " + std::to_string(version) + " is no longer read",
               "load again into a new folder");
}

/// Bucket tables may have columns that were added.
bool isDefinedAs(Connection& connection, const schema::table_t& table)
{
    if (table.kind != schema::table_kind_t::bucket)
        return hasDefinition(connection, "table", table.name, createTableSql(table));
    return customColumnsOf(definitionOf(connection, "table", table.name), table).has_value();
}

void checkDefinitions(Connection& connection, const std::string& path)
{
    const auto demand = [&](bool isSound, const char* type, std::string_view name) {
        if (!isSound)
            refuse(path, std::string(type) + " " + std::string(name) + " is not as it should be",
                   "load again into a new folder");
    };
    const auto check = [&](const char* type, std::string_view name, const std::string& definition) {
        demand(hasDefinition(connection, type, name, definition), type, name);
    };
    for (const schema::table_t& table : schema::tables()) {
        demand(isDefinedAs(connection, table), "table", table.name);
        if (!table.index.empty()) check("index", indexName(table), createIndexSql(table));
    }
    for (const schema::view_t& view : schema::views())
        check("view", view.name, createViewSql(view));
}

void openNew(Connection& connection, const std::string& path)
{
    connection.open(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    std::int64_t pages = 1;
    try {
        pages = connection.integer("PRAGMA page_count", 0);
    } catch (const SqlError& error) {
        if ((error.code() & 0xff) != SQLITE_NOTADB) throw;
    }
    if (pages != 0) refuse(path, "the file is there already", "remove it or choose another folder");
}

void openExisting(Connection& connection, const std::string& path, open_mode_t mode)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status))
        refuse(path, "there is no such file", "load a recording first");
    if (!std::filesystem::is_regular_file(status)) refuse(path, g_noResult, g_otherFolder);
    // Reading too may have to roll back what a killed load left, so that the file is opened for
    // writing.
    connection.open(path, SQLITE_OPEN_READWRITE);
    if (mode == open_mode_t::append && connection.isReadOnly())
        refuse(path, "it may not be written", "check the permissions of the folder");
}

} // namespace

std::string definitionOf(Connection& connection, const char* type, std::string_view name)
{
    Statement statement =
        connection.prepare("SELECT sql FROM main.sqlite_schema WHERE type = ?1 AND name = ?2");
    statement.bindText(1, type);
    statement.bindText(2, name);
    return statement.step() ? statement.text(0) : std::string();
}

bool hasDefinition(Connection& connection, const char* type, std::string_view name,
                   const std::string& definition)
{
    return definitionOf(connection, type, name) == definition;
}

void openResultFile(Connection& connection, const std::string& path, open_mode_t mode,
                    const result_options_t& options)
{
    const bool create = mode == open_mode_t::create;
    try {
        create ? openNew(connection, path) : openExisting(connection, path, mode);
        if (create) {
            createAll(connection);
        } else {
            checkIdentity(connection, path);
            checkDefinitions(connection, path);
        }
        setUp(connection, mode, options);
    } catch (const SqlError& error) {
        throw StoreError(failureText(create ? "create" : "open", path, error));
    }
}

void makeResultFolder(const std::string& folder)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        throw StoreError(
            failureText("create", folder, error.message(), "check the path and its permissions"));
}

} // namespace rowvault1
