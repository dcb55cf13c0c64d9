#include "sql_reader.h"

#include "failure_text.h"
#include "store.h"

#include <sqlite3.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace rowvault1 {
namespace {

constexpr std::string_view g_oneStatement = "exactly one SQL statement is taken";

/// Refuses changes while it lives.
class ReadingScope {
public:
    explicit ReadingScope(Store& store) : m_store(store) { m_store.setReading(true); }
    ReadingScope(const ReadingScope&) = delete;
    ReadingScope& operator=(const ReadingScope&) = delete;
    ~ReadingScope() { m_store.setReading(false); }

private:
    Store& m_store;
};

std::string_view withoutTail(std::string_view sql)
{
    const std::size_t last = sql.find_last_not_of(" \t\r\n;");
    return last == sql.npos ? std::string_view() : sql.substr(0, last + 1);
}

/// Pragmas that only tell; the second list takes an argument.
bool isTellingPragma(std::string_view name, bool hasArgument)
{
    static constexpr std::string_view plain[] = {"application_id", "encoding",   "page_count",
                                                 "page_size",      "table_list", "user_version"};
    static constexpr std::string_view withArgument[] = {
        "index_info",  "index_list", "index_xinfo", "integrity_check",
        "quick_check", "table_info", "table_xinfo"};
    return std::ranges::find(withArgument, name) != std::end(withArgument) ||
           (!hasArgument && std::ranges::find(plain, name) != std::end(plain));
}

/// Refuses what changes transactions, settings or open files; SQLite itself tells of statements
/// that change rows.
int refuseSettings(void*, int action, const char* first, const char* second, const char*,
                   const char*)
{
    switch (action) {
    case SQLITE_TRANSACTION:
    case SQLITE_SAVEPOINT:
    case SQLITE_ATTACH:
    case SQLITE_DETACH:
        return SQLITE_DENY;
    case SQLITE_PRAGMA:
        return first != nullptr && isTellingPragma(first, second != nullptr) ? SQLITE_OK
                                                                             : SQLITE_DENY;
    default:
        return SQLITE_OK;
    }
}

Statement prepareReadOnly(Store& store, std::string_view sql)
{
    if (sql.empty()) throw StoreError(failureText("read", store.path(), g_oneStatement, ""));
    sqlite3_stmt* raw = nullptr;
    const char* tail = nullptr;
    sqlite3* const connection = store.connection().get();
    sqlite3_set_authorizer(connection, &refuseSettings, nullptr);
    const int code =
        sqlite3_prepare_v2(connection, sql.data(), static_cast<int>(sql.size()), &raw, &tail);
    sqlite3_set_authorizer(connection, nullptr, nullptr);
    Statement statement(raw);
    if (code == SQLITE_AUTH || (raw != nullptr && sqlite3_stmt_readonly(raw) == 0))
        throw StoreError(
            failureText("read", store.path(), "the SQL statement would do more than read", ""));
    if (code != SQLITE_OK)
        throw StoreError(
            failureText("read", store.path(), sqlite3_errmsg(connection), "mend the SQL"));
    if (!statement || tail != sql.data() + sql.size())
        throw StoreError(failureText("read", store.path(), g_oneStatement, ""));
    return statement;
}

tb2::variant_t valueOf(const Statement& statement, int column)
{
    switch (sqlite3_column_type(statement.get(), column)) {
    case SQLITE_NULL:
        return {};
    case SQLITE_INTEGER:
        return tb2::variant_t(statement.integer(column));
    case SQLITE_FLOAT:
        return tb2::variant_t(sqlite3_column_double(statement.get(), column));
    default:
        return tb2::variant_t(std::string_view(statement.text(column)));
    }
}

std::vector<std::string> columnNames(const Statement& statement)
{
    std::vector<std::string> names;
    for (int n = 0; n < sqlite3_column_count(statement.get()); ++n) {
        const char* const name = sqlite3_column_name(statement.get(), n);
        names.emplace_back(name != nullptr ? name : "");
    }
    return names;
}

} // namespace

void runReadOnly(Store& store, std::string_view sql, ISqlReader& reader)
{
    store.settle();
    Statement statement = prepareReadOnly(store, withoutTail(sql));
    const std::vector<std::string> names = columnNames(statement);
    const ReadingScope reading(store);
    reader.onColumns(names);
    std::vector<tb2::variant_t> row(names.size());
    try {
        while (statement.step()) {
            for (std::size_t n = 0; n < row.size(); ++n)
                row[n] = valueOf(statement, static_cast<int>(n));
            if (!reader.onRow(row)) return;
        }
    } catch (const SqlError& error) {
        throw StoreError(failureText("read", store.path(), error));
    }
}

} // namespace rowvault1
