#include "result_fixture.h"

using namespace rowvault1;
using tb2::variant_t;

namespace {

class TextReader final : public ISqlReader {
public:
    void onColumns(std::span<const std::string> given) override
    {
        names.assign(given.begin(), given.end());
    }
    bool onRow(std::span<const variant_t> row) override
    {
        rows.emplace_back(row.begin(), row.end());
        return rows.size() < limit;
    }
    std::vector<std::string> names;
    std::vector<std::vector<variant_t>> rows;
    std::size_t limit = 1000;
};

class ReadSql : public ResultTest {
protected:
    std::string messageOf(IResult& result, std::string_view sql)
    {
        TextReader reader;
        try {
            readSql(result, sql, reader);
        } catch (const StoreError& error) {
            return error.what();
        }
        return "taken";
    }
};

TEST_F(ReadSql, GivesNamesAndValuesByTheirTypes)
{
    const auto result = create();
    addRow(*result, "dd_package", {{0, variant_t("package_0")}});
    TextReader reader;
    readSql(*result,
            "SELECT id, name, NULL AS none, 1.5 AS half, x'4142' AS bytes FROM dd_package ;\n",
            reader);
    EXPECT_EQ(reader.names, (std::vector<std::string>{"id", "name", "none", "half", "bytes"}));
    ASSERT_EQ(reader.rows.size(), 1U);
    EXPECT_EQ(reader.rows[0],
              (std::vector<variant_t>{variant_t(std::int64_t{1}), variant_t("package_0"),
                                      variant_t(), variant_t(1.5), variant_t("AB")}));
}

TEST_F(ReadSql, TheReaderMayStop)
{
    const auto result = create();
    TextReader reader;
    reader.limit = 2;
    readSql(*result,
            "WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n) SELECT x FROM n",
            reader);
    EXPECT_EQ(reader.rows.size(), 2U);
}

TEST_F(ReadSql, WorksOnAResultOpenForReading)
{
    create()->finish();
    const auto result = open(open_mode_t::read_only);
    TextReader reader;
    readSql(*result, "SELECT value FROM load_info WHERE key = 'state'", reader);
    ASSERT_EQ(reader.rows.size(), 1U);
    EXPECT_EQ(reader.rows[0][0], variant_t("complete"));
}

TEST_F(ReadSql, RefusesWhatWritesSeveralStatementsAndNone)
{
    const auto result = create();
    for (const char* const sql :
         {"DELETE FROM dd_load_info", "CREATE TABLE t(a)", "PRAGMA user_version = 9",
          "WITH x AS (SELECT 1) INSERT INTO dd_cpu(number) SELECT * FROM x"})
        EXPECT_NE(messageOf(*result, sql).find("would do more than read"), std::string::npos)
            << sql;
    for (const char* const sql :
         {"", ";", "SELECT 1; SELECT 2", "SELECT 1; DELETE FROM dd_load_info"})
        EXPECT_NE(messageOf(*result, sql).find("exactly one SQL statement"), std::string::npos)
            << sql;
    EXPECT_EQ(result->info("state"), "incomplete");
}

TEST_F(ReadSql, LeavesTransactionsAndOtherFilesAlone)
{
    const auto result = create();
    for (const char* const sql :
         {"BEGIN", "COMMIT", "ROLLBACK", "SAVEPOINT s", "ATTACH '/tmp/other.sqlite' AS other",
          "DETACH main", "PRAGMA journal_mode = OFF", "PRAGMA query_only = OFF", "VACUUM"})
        EXPECT_NE(messageOf(*result, sql), "taken") << sql;
}

TEST_F(ReadSql, PragmasThatOnlyTellAreTaken)
{
    const auto result = create();
    for (const char* const sql : {"PRAGMA integrity_check", "PRAGMA table_info(dd_sample)",
                                  "PRAGMA user_version", "EXPLAIN QUERY PLAN SELECT * FROM samples",
                                  "SELECT name FROM pragma_table_info('dd_cpu')"})
        EXPECT_EQ(messageOf(*result, sql), "taken") << sql;
}

TEST_F(ReadSql, BadSqlGivesTheReason)
{
    const auto result = create();
    EXPECT_NE(messageOf(*result, "SELECT x FROM nowhere").find("no such table: nowhere"),
              std::string::npos);
}

TEST_F(ReadSql, RefusesRowsThatTheReaderAdds)
{
    class Writer final : public ISqlReader {
    public:
        explicit Writer(IResult& target) : m_target(target) {}
        void onColumns(std::span<const std::string>) override {}
        bool onRow(std::span<const variant_t>) override
        {
            key = addRow(m_target, "dd_cpu", {{0, variant_t(1)}});
            return true;
        }
        Index key{5};

    private:
        IResult& m_target;
    };
    const auto result = create();
    Writer writer(*result);
    const AssertionLog log;
    readSql(*result, "SELECT 1", writer);
    EXPECT_FALSE(writer.key.exist());
    EXPECT_EQ(log.expressions(), std::vector<std::string>{"!isReading()"});
    EXPECT_TRUE(addRow(*result, "dd_cpu", {{0, variant_t(1)}}).exist());
}

} // namespace
