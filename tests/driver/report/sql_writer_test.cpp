#include "made_result.h"

#include "report/sql_writer.h"

#include <algorithm>
#include <sstream>

namespace samplefold::report {
namespace {

class SqlWriterTest : public testing::MadeResultTest {
protected:
    std::string written(const std::string& sql, SqlFormat format)
    {
        std::ostringstream out;
        writeSql(result(), sql, format, out);
        return out.str();
    }
};

TEST_F(SqlWriterTest, ATableAlignsNumbersRightAndTextsLeft)
{
    EXPECT_EQ(written("SELECT 'a' AS t, 5 AS n UNION ALL SELECT 'bcd', 1000", SqlFormat::table),
              "t       n\n"
              "a       5\n"
              "bcd  1000\n");
}

TEST_F(SqlWriterTest, CsvQuotesWhatNeedsIt)
{
    EXPECT_EQ(written("SELECT 'plain' AS a, 'x,y' AS \"b,c\", 'say \"no\"' AS d, 'two' || char(10) "
                      "|| 'lines' AS e, "
                      "'cr' || char(13) AS f, NULL AS g",
                      SqlFormat::csv),
              "a,\"b,c\",d,e,f,g\n"
              "plain,\"x,y\",\"say \"\"no\"\"\",\"two\nlines\",\"cr\r\",\n");
}

TEST_F(SqlWriterTest, JsonIsAnArrayOfObjects)
{
    EXPECT_EQ(written("SELECT 1 AS a, 'x\"y' AS b UNION ALL SELECT NULL, 'z'", SqlFormat::json),
              "[\n{\"a\":1,\"b\":\"x\\\"y\"},\n{\"a\":null,\"b\":\"z\"}\n]\n");
}

TEST_F(SqlWriterTest, AnAnswerWithoutRowsIsWhole)
{
    EXPECT_EQ(written("SELECT 1 AS a, 2 AS b WHERE 0", SqlFormat::table), "a  b\n");
    EXPECT_EQ(written("SELECT 1 AS a, 2 AS b WHERE 0", SqlFormat::csv), "a,b\n");
    EXPECT_EQ(written("SELECT 1 AS a, 2 AS b WHERE 0", SqlFormat::json), "[]\n");
}

TEST_F(SqlWriterTest, ALargeTableIsWrittenInBlocks)
{
    const std::string out =
        written("WITH RECURSIVE s(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM s WHERE n < 1001) "
                "SELECT n FROM s",
                SqlFormat::table);
    EXPECT_TRUE(out.starts_with("   n\n   1\n   2\n")) << out.substr(0, 20);
    EXPECT_TRUE(out.ends_with("\n1000\n   n\n1001\n")) << out.substr(out.size() - 20);
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1003);
}

TEST_F(SqlWriterTest, ABadStatementWritesNothing)
{
    for (const SqlFormat format : {SqlFormat::table, SqlFormat::csv, SqlFormat::json}) {
        std::ostringstream out;
        EXPECT_THROW(writeSql(result(), "SELECT nothing FROM nowhere", format, out),
                     rowvault1::StoreError);
        EXPECT_EQ(out.str(), "");
    }
}

TEST_F(SqlWriterTest, WritingEndsWhenNobodyReads)
{
    std::ostringstream out;
    out.setstate(std::ios::badbit);
    writeSql(result(), "SELECT 1 AS a UNION ALL SELECT 2", SqlFormat::csv, out);
    EXPECT_EQ(out.str(), "");
}

} // namespace
} // namespace samplefold::report
