#include "connection.h"

#include <sqlite3.h>

#include <algorithm>
#include <utility>

namespace rowvault1 {
namespace {

constexpr int g_busyMilliseconds = 500;
constexpr std::size_t g_maxNameLength = 64;

[[noreturn]] void raise(sqlite3* connection, int code)
{
    const char* const text =
        connection != nullptr ? sqlite3_errmsg(connection) : sqlite3_errstr(code);
    const int extended = connection != nullptr ? sqlite3_extended_errcode(connection) : code;
    throw SqlError(extended, text);
}

} // namespace

Statement& Statement::operator=(Statement&& other) noexcept
{
    std::swap(m_statement, other.m_statement);
    return *this;
}

Statement::~Statement()
{
    sqlite3_finalize(m_statement);
}

void Statement::check(int code) const
{
    if (code != SQLITE_OK) raise(sqlite3_db_handle(m_statement), code);
}

void Statement::bindNull(int parameter)
{
    check(sqlite3_bind_null(m_statement, parameter));
}

void Statement::bindInteger(int parameter, std::int64_t value)
{
    check(sqlite3_bind_int64(m_statement, parameter, value));
}

void Statement::bindReal(int parameter, double value)
{
    check(sqlite3_bind_double(m_statement, parameter, value));
}

void Statement::bindText(int parameter, std::string_view value)
{
    const char* const bytes = value.data() != nullptr ? value.data() : "";
    check(sqlite3_bind_text64(m_statement, parameter, bytes, value.size(), SQLITE_TRANSIENT,
                              SQLITE_UTF8));
}

bool Statement::step()
{
    const int code = sqlite3_step(m_statement);
    if (code == SQLITE_ROW) return true;
    if (code != SQLITE_DONE) raise(sqlite3_db_handle(m_statement), code);
    return false;
}

void Statement::run()
{
    const StatementReset reset(*this);
    while (step()) {
    }
}

void Statement::reset() noexcept
{
    sqlite3_reset(m_statement);
}

bool Statement::isNull(int column) const
{
    return sqlite3_column_type(m_statement, column) == SQLITE_NULL;
}

std::int64_t Statement::integer(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}

std::string Statement::text(int column) const
{
    const unsigned char* const bytes = sqlite3_column_text(m_statement, column);
    if (bytes == nullptr) return {};
    const int size = sqlite3_column_bytes(m_statement, column);
    return std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

Connection::~Connection()
{
    sqlite3_close_v2(m_connection);
}

void Connection::check(int code) const
{
    if (code != SQLITE_OK) raise(m_connection, code);
}

void Connection::open(const std::string& path, int flags)
{
    check(sqlite3_open_v2(path.c_str(), &m_connection, flags | SQLITE_OPEN_NOMUTEX, nullptr));
    harden();
}

void Connection::harden()
{
    sqlite3_extended_result_codes(m_connection, 1);
    sqlite3_busy_timeout(m_connection, g_busyMilliseconds);
    sqlite3_db_config(m_connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(m_connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(m_connection, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(m_connection, SQLITE_DBCONFIG_ENABLE_FKEY, 0, nullptr);
    sqlite3_db_config(m_connection, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
    sqlite3_db_config(m_connection, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_limit(m_connection, SQLITE_LIMIT_ATTACHED, 0);
    execute("PRAGMA cell_size_check = ON");
}

void Connection::execute(const std::string& sql)
{
    check(sqlite3_exec(m_connection, sql.c_str(), nullptr, nullptr, nullptr));
}

Statement Connection::prepare(std::string_view sql)
{
    sqlite3_stmt* statement = nullptr;
    const char* tail = nullptr;
    check(sqlite3_prepare_v2(m_connection, sql.data(), static_cast<int>(sql.size()), &statement,
                             &tail));
    return Statement(statement);
}

std::int64_t Connection::integer(const std::string& sql, std::int64_t missing)
{
    Statement statement = prepare(sql);
    return statement.step() && !statement.isNull(0) ? statement.integer(0) : missing;
}

std::string Connection::text(const std::string& sql)
{
    Statement statement = prepare(sql);
    return statement.step() ? statement.text(0) : std::string();
}

bool Connection::inTransaction() const noexcept
{
    return sqlite3_get_autocommit(m_connection) == 0;
}

bool Connection::isReadOnly() const noexcept
{
    return sqlite3_db_readonly(m_connection, "main") == 1;
}

std::string quoted(std::string_view name)
{
    std::string text = "\"";
    for (const char letter : name) {
        text += letter;
        if (letter == '"') text += letter;
    }
    text += '"';
    return text;
}

bool isPlainName(std::string_view name)
{
    const auto isPlain = [](char letter) {
        return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
               (letter >= '0' && letter <= '9') || letter == '_';
    };
    return !name.empty() && name.size() <= g_maxNameLength && !name.starts_with("sqlite_") &&
           std::ranges::all_of(name, isPlain);
}

} // namespace rowvault1
