#include "row_source.h"

#include "connection.h"

#include <sqlite3.h>

#include <new>

namespace rowvault1 {
namespace {

struct source_table_t : sqlite3_vtab {
    RowSource* source;
};

struct source_cursor_t : sqlite3_vtab_cursor {
    const RowBatch* batch;
    std::size_t row;
};

source_cursor_t* cursorOf(sqlite3_vtab_cursor* cursor)
{
    return static_cast<source_cursor_t*>(cursor);
}

int connectTable(sqlite3* connection, void* source, int, const char* const*, sqlite3_vtab** out,
                 char**)
{
    std::string declaration = "CREATE TABLE source(" + sourceColumn(0);
    for (std::size_t n = 1; n < sourceColumns; ++n)
        declaration += ", " + sourceColumn(n);
    const int code = sqlite3_declare_vtab(connection, (declaration + ")").c_str());
    if (code != SQLITE_OK) return code;
    auto* const table = new (std::nothrow) source_table_t{};
    if (table == nullptr) return SQLITE_NOMEM;
    table->source = static_cast<RowSource*>(source);
    *out = table;
    return sqlite3_vtab_config(connection, SQLITE_VTAB_DIRECTONLY);
}

int disconnectTable(sqlite3_vtab* table)
{
    delete static_cast<source_table_t*>(table);
    return SQLITE_OK;
}

int planWalk(sqlite3_vtab*, sqlite3_index_info* info)
{
    info->estimatedRows = 1000;
    info->estimatedCost = 1000;
    return SQLITE_OK;
}

int openCursor(sqlite3_vtab*, sqlite3_vtab_cursor** out)
{
    auto* const cursor = new (std::nothrow) source_cursor_t{};
    *out = cursor;
    return cursor != nullptr ? SQLITE_OK : SQLITE_NOMEM;
}

int closeCursor(sqlite3_vtab_cursor* cursor)
{
    delete cursorOf(cursor);
    return SQLITE_OK;
}

int startWalk(sqlite3_vtab_cursor* cursor, int, const char*, int, sqlite3_value**)
{
    cursorOf(cursor)->batch = static_cast<source_table_t*>(cursor->pVtab)->source->batch();
    cursorOf(cursor)->row = 0;
    return SQLITE_OK;
}

int nextRow(sqlite3_vtab_cursor* cursor)
{
    ++cursorOf(cursor)->row;
    return SQLITE_OK;
}

int atEnd(sqlite3_vtab_cursor* cursor)
{
    const source_cursor_t* const walk = cursorOf(cursor);
    return walk->batch == nullptr || walk->row >= walk->batch->rows() ? 1 : 0;
}

int giveColumn(sqlite3_vtab_cursor* cursor, sqlite3_context* result, int column)
{
    const RowBatch& batch = *cursorOf(cursor)->batch;
    const std::size_t row = cursorOf(cursor)->row;
    if (column == 0) {
        sqlite3_result_int64(result, batch.key(row));
        return SQLITE_OK;
    }
    const auto slot = static_cast<std::size_t>(column) - 1;
    if (slot >= batch.plan().slots() || !batch.has(row, slot)) return SQLITE_OK;
    switch (batch.plan().kinds[slot]) {
    case schema::kind_t::real:
        sqlite3_result_double(result, batch.real(row, slot));
        break;
    case schema::kind_t::text: {
        // The batch outlives the statement's step, so that SQLite need not copy the text.
        const std::string_view text = batch.text(row, slot);
        sqlite3_result_text64(result, text.data(), text.size(), nullptr, SQLITE_UTF8);
        break;
    }
    default:
        sqlite3_result_int64(result, batch.integer(row, slot));
    }
    return SQLITE_OK;
}

int giveKey(sqlite3_vtab_cursor* cursor, sqlite3_int64* out)
{
    *out = cursorOf(cursor)->batch->key(cursorOf(cursor)->row);
    return SQLITE_OK;
}

sqlite3_module makeModule()
{
    sqlite3_module module{};
    module.iVersion = 1;
    module.xCreate = connectTable;
    module.xConnect = connectTable;
    module.xBestIndex = planWalk;
    module.xDisconnect = disconnectTable;
    module.xDestroy = disconnectTable;
    module.xOpen = openCursor;
    module.xClose = closeCursor;
    module.xFilter = startWalk;
    module.xNext = nextRow;
    module.xEof = atEnd;
    module.xColumn = giveColumn;
    module.xRowid = giveKey;
    return module;
}

const sqlite3_module g_module = makeModule();

} // namespace

std::string sourceColumn(std::size_t n)
{
    return std::to_string(n).insert(0, 1, 'c');
}

void RowSource::install(Connection& connection)
{
    const std::string name(sourceName);
    if (sqlite3_create_module_v2(connection.get(), name.c_str(), &g_module, this, nullptr) !=
        SQLITE_OK)
        throw SqlError(sqlite3_extended_errcode(connection.get()),
                       sqlite3_errmsg(connection.get()));
    connection.execute("CREATE VIRTUAL TABLE temp." + name + " USING " + name);
}

} // namespace rowvault1
