#include "made_result.h"

#include "report/sql_rows.h"

#include <limits>

namespace samplefold::report {
namespace {

using tb2::variant_t;

class SqlRowsTest : public testing::MadeResultTest {};

TEST(ValueTest, TextsOfValues)
{
    EXPECT_EQ(toText(variant_t()), "");
    EXPECT_EQ(toText(variant_t("name")), "name");
    EXPECT_EQ(toText(variant_t(std::int32_t{-5})), "-5");
    EXPECT_EQ(toText(variant_t(std::uint32_t{4294967295})), "4294967295");
    EXPECT_EQ(toText(variant_t(std::numeric_limits<std::int64_t>::min())), "-9223372036854775808");
    EXPECT_EQ(toText(variant_t(std::numeric_limits<std::uint64_t>::max())), "18446744073709551615");
    EXPECT_EQ(toText(variant_t(0.1)), "0.1");
    EXPECT_EQ(toText(variant_t(1234567.0)), "1.23457e+06");
}

TEST(ValueTest, JsonOfValuesKeepsTheirKind)
{
    EXPECT_EQ(jsonText(toJson(variant_t()), -1), "null");
    EXPECT_EQ(jsonText(toJson(variant_t("5")), -1), "\"5\"");
    EXPECT_EQ(jsonText(toJson(variant_t(std::int64_t{-5})), -1), "-5");
    EXPECT_EQ(jsonText(toJson(variant_t(std::numeric_limits<std::uint64_t>::max())), -1),
              "18446744073709551615");
    EXPECT_EQ(jsonText(toJson(variant_t(0.5)), -1), "0.5");
}

TEST(ValueTest, JsonReplacesBytesThatAreNoText)
{
    EXPECT_EQ(jsonText(toJson(variant_t(std::string_view("a\xff"
                                                         "b\xc3",
                                                         4))),
                       -1),
              "\"a\xef\xbf\xbd"
              "b\xef\xbf\xbd\"");
    EXPECT_EQ(jsonText(toJson(variant_t("quote \" and \n line")), -1),
              "\"quote \\\" and \\n line\"");
}

TEST_F(SqlRowsTest, AnAnswerKeepsNamesAndOrder)
{
    const SqlRows rows = readRows(result(), "SELECT 2 AS b, NULL AS a UNION ALL SELECT 1, 'x'");
    EXPECT_EQ(rows.names, (std::vector<std::string>{"b", "a"}));
    ASSERT_EQ(rows.rows.size(), 2U);
    EXPECT_EQ(jsonText(rowToJson(rows.names, rows.rows[0]), -1), R"({"b":2,"a":null})");
    EXPECT_EQ(jsonText(rowToJson(rows.names, rows.rows[1]), -1), R"({"b":1,"a":"x"})");
}

TEST_F(SqlRowsTest, ColumnsOfOneNameAllStandInTheObject)
{
    const SqlRows rows = readRows(result(), "SELECT 1 AS a, 2 AS a, 3 AS a");
    EXPECT_EQ(jsonText(rowToJson(rows.names, rows.rows.at(0)), -1), R"({"a":1,"a 2":2,"a 3":3})");
}

TEST_F(SqlRowsTest, ABadStatementIsAnError)
{
    EXPECT_THROW(readRows(result(), "SELECT FROM"), rowvault1::StoreError);
    EXPECT_THROW(readRows(result(), "DELETE FROM dd_cpu"), rowvault1::StoreError);
}

} // namespace
} // namespace samplefold::report
