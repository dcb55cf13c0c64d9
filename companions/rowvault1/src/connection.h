#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

// The one place that talks to SQLite's statements. Objects belong to one thread at a time.
namespace rowvault1 {

/// A failed call: SQLite's extended code and its message.
class SqlError : public std::runtime_error {
public:
    SqlError(int code, const std::string& text) : std::runtime_error(text), m_code(code) {}
    int code() const noexcept { return m_code; }

private:
    int m_code;
};

/// A prepared statement. It must be gone before its connection. Operations throw SqlError.
class Statement {
public:
    Statement() = default;
    explicit Statement(sqlite3_stmt* statement) : m_statement(statement) {}
    Statement(Statement&& other) noexcept : m_statement(other.m_statement)
    {
        other.m_statement = nullptr;
    }
    Statement& operator=(Statement&& other) noexcept;
    ~Statement();

    explicit operator bool() const noexcept { return m_statement != nullptr; }
    sqlite3_stmt* get() const noexcept { return m_statement; }

    /// Parameters count from 1. Text is copied.
    void bindNull(int parameter);
    void bindInteger(int parameter, std::int64_t value);
    void bindReal(int parameter, double value);
    void bindText(int parameter, std::string_view value);

    /// True while there is a row.
    bool step();
    /// Steps to the end and resets; for statements without rows.
    void run();
    void reset() noexcept;

    /// Columns count from 0. Text is a copy.
    bool isNull(int column) const;
    std::int64_t integer(int column) const;
    std::string text(int column) const;

private:
    void check(int code) const;

    sqlite3_stmt* m_statement = nullptr;
};

/// Resets a statement on leaving the scope, also by an exception.
class StatementReset {
public:
    explicit StatementReset(Statement& statement) : m_statement(statement) {}
    StatementReset(const StatementReset&) = delete;
    StatementReset& operator=(const StatementReset&) = delete;
    ~StatementReset() { m_statement.reset(); }

private:
    Statement& m_statement;
};

/// An open database with the settings that keep a hostile file harmless.
class Connection {
public:
    Connection() = default;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    /// Opens `path` with SQLite's open flags.
    void open(const std::string& path, int flags);
    void execute(const std::string& sql);
    /// The first statement of `sql`.
    Statement prepare(std::string_view sql);
    /// First column of the first row; `missing` when there is no row or it is null.
    std::int64_t integer(const std::string& sql, std::int64_t missing);
    std::string text(const std::string& sql);

    bool inTransaction() const noexcept;
    bool isReadOnly() const noexcept;
    sqlite3* get() const noexcept { return m_connection; }

private:
    void check(int code) const;
    void harden();

    sqlite3* m_connection = nullptr;
};

/// A name as SQL takes it, in double quotes.
std::string quoted(std::string_view name);
/// True for a name that a table or column made on request may have: at most 64 letters, digits and
/// underscores, and not SQLite's own.
bool isPlainName(std::string_view name);

} // namespace rowvault1
