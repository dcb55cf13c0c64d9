// The floor of a load: writes the rows of a loaded result again, all tables, by plain prepared
// inserts in one transaction into a fresh database with SQLite's defaults, and prints the seconds
// that this took. The rows are read into memory before the clock starts.

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace {

using Value = std::variant<std::monostate, std::int64_t, double, std::string>;

struct Table {
    std::string name;
    std::string sql; ///< its CREATE statement
    std::size_t columns = 0;
    std::vector<Value> values; ///< row by row
};

void check(int code, sqlite3* db, const std::string& what)
{
    if (code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE) return;
    throw std::runtime_error(what + ": " + sqlite3_errmsg(db));
}

class Statement {
public:
    Statement(sqlite3* db, const std::string& sql) : m_db(db)
    {
        check(sqlite3_prepare_v2(db, sql.c_str(), -1, &m_statement, nullptr), db, sql);
    }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement() { sqlite3_finalize(m_statement); }

    bool step()
    {
        const int code = sqlite3_step(m_statement);
        check(code, m_db, "step");
        return code == SQLITE_ROW;
    }
    void reset() { sqlite3_reset(m_statement); }
    sqlite3_stmt* get() const { return m_statement; }

private:
    sqlite3* m_db;
    sqlite3_stmt* m_statement = nullptr;
};

Value columnValue(sqlite3_stmt* row, int column)
{
    switch (sqlite3_column_type(row, column)) {
    case SQLITE_INTEGER:
        return std::int64_t{sqlite3_column_int64(row, column)};
    case SQLITE_FLOAT:
        return sqlite3_column_double(row, column);
    case SQLITE_NULL:
        return std::monostate{};
    default:
        break;
    }
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
    return std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
}

void bind(sqlite3_stmt* statement, int parameter, const Value& value)
{
    if (const auto* const number = std::get_if<std::int64_t>(&value)) {
        sqlite3_bind_int64(statement, parameter, *number);
    } else if (const auto* const real = std::get_if<double>(&value)) {
        sqlite3_bind_double(statement, parameter, *real);
    } else if (const auto* const text = std::get_if<std::string>(&value)) {
        sqlite3_bind_text(statement, parameter, text->data(), static_cast<int>(text->size()),
                          SQLITE_STATIC);
    } else {
        sqlite3_bind_null(statement, parameter);
    }
}

std::vector<Table> readTables(const std::string& path)
{
    sqlite3* db = nullptr;
    check(sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), db, path);
    std::vector<Table> tables;
    {
        Statement list(db, "SELECT name, sql FROM sqlite_schema WHERE type = 'table' AND name NOT "
                           "LIKE 'sqlite_%'");
        while (list.step()) {
            tables.push_back({std::get<std::string>(columnValue(list.get(), 0)),
                              std::get<std::string>(columnValue(list.get(), 1)),
                              0,
                              {}});
        }
        for (Table& table : tables) {
            Statement rows(db, "SELECT * FROM \"" + table.name + "\"");
            table.columns = static_cast<std::size_t>(sqlite3_column_count(rows.get()));
            while (rows.step()) {
                for (std::size_t i = 0; i < table.columns; ++i) {
                    table.values.push_back(columnValue(rows.get(), static_cast<int>(i)));
                }
            }
        }
    }
    sqlite3_close(db);
    return tables;
}

std::size_t insertRows(sqlite3* db, const Table& table)
{
    std::string places = "?";
    for (std::size_t i = 1; i < table.columns; ++i)
        places += ", ?";
    Statement insert(db, "INSERT INTO \"" + table.name + "\" VALUES (" + places + ")");
    const std::size_t rows = table.values.size() / table.columns;
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t i = 0; i < table.columns; ++i) {
            bind(insert.get(), static_cast<int>(i + 1), table.values[row * table.columns + i]);
        }
        insert.step();
        insert.reset();
    }
    return rows;
}

void run(const std::string& from, const std::string& to)
{
    const std::vector<Table> tables = readTables(from);
    std::remove(to.c_str());
    const auto start = std::chrono::steady_clock::now();
    sqlite3* db = nullptr;
    check(sqlite3_open(to.c_str(), &db), db, to);
    for (const Table& table : tables)
        check(sqlite3_exec(db, table.sql.c_str(), nullptr, nullptr, nullptr), db, table.sql);
    std::size_t rows = 0;
    check(sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr), db, "BEGIN");
    for (const Table& table : tables)
        rows += insertRows(db, table);
    check(sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr), db, "COMMIT");
    sqlite3_close(db);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::printf("%.4f seconds %zu rows\n", seconds.count(), rows);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: plain_inserts RESULT.sqlite NEW.sqlite\n", stderr);
        return 2;
    }
    try {
        run(argv[1], argv[2]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
