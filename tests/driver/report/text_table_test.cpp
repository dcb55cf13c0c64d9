#include "report/text_table.h"

#include <gtest/gtest.h>

#include <sstream>

namespace samplefold::report {
namespace {

using Align = TextTable::Align;

std::string printed(const TextTable& table, std::string_view indent = "")
{
    std::ostringstream out;
    table.print(out, indent);
    return out.str();
}

TEST(TextTableTest, ColumnsAreAlignedToTheWidestText)
{
    TextTable table;
    table.addColumn("name", Align::left);
    table.addColumn("count", Align::right);
    table.addRow({"a", "12345678"});
    table.addRow({"longer name", "1"});
    EXPECT_EQ(printed(table), "name            count\n"
                              "a            12345678\n"
                              "longer name         1\n");
}

TEST(TextTableTest, LinesAreIndentedAndDoNotEndInBlanks)
{
    TextTable table;
    table.addColumn("n", Align::right);
    table.addColumn("text", Align::left);
    table.addRow({"1", "a long text"});
    table.addRow({"2", ""});
    EXPECT_EQ(printed(table, "  "), "  n  text\n"
                                    "  1  a long text\n"
                                    "  2\n");
}

TEST(TextTableTest, WidthsCountCharactersNotBytes)
{
    TextTable table;
    table.addColumn("x", Align::left);
    table.addColumn("y", Align::left);
    table.addRow({"\xc3\xa4\xc3\xb6", "1"});
    table.addRow({"ab", "2"});
    EXPECT_EQ(printed(table), "x   y\n\xc3\xa4\xc3\xb6  1\nab  2\n");
}

TEST(TextTableTest, CellsCannotBreakTheirLine)
{
    TextTable table;
    table.addColumn("x", Align::left);
    table.addColumn("y", Align::left);
    table.addRow({"a\nb", "1"});
    EXPECT_EQ(printed(table), "x       y\na\\x0ab  1\n");
}

TEST(TextTableTest, MissingCellsAreEmpty)
{
    TextTable table;
    table.addColumn("x", Align::left);
    table.addColumn("y", Align::left);
    EXPECT_TRUE(table.empty());
    table.addRow({"a"});
    EXPECT_FALSE(table.empty());
    EXPECT_EQ(printed(table), "x  y\na\n");
}

} // namespace
} // namespace samplefold::report
