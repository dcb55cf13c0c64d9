#include "result_fixture.h"
#include "schema_page.h"

#include <rowvault1/schema.h>

#include <fstream>
#include <iterator>
#include <set>

using namespace rowvault1;

namespace {

class Schema : public ResultTest {};

TEST_F(Schema, TheReferencePageIsTheOneOfThisProgram)
{
    std::ifstream file(ROWVAULT1_SCHEMA_PAGE, std::ios::binary);
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(page, schemaPage()) << "run rowvault1_print_schema > docs/result-schema.md";
}

TEST_F(Schema, PositionsRiseAndNamesAndReferencesAreSound)
{
    std::set<std::string_view> names;
    for (const schema::table_t& table : schema::tables()) {
        EXPECT_TRUE(names.insert(table.name).second) << table.name;
        int last = -1;
        std::set<std::string_view> columns{"id"};
        for (const schema::column_t& column : table.columns) {
            EXPECT_GT(column.position, last) << table.name;
            last = column.position;
            EXPECT_TRUE(columns.insert(column.name).second) << table.name << '.' << column.name;
            EXPECT_TRUE(column.reference.empty() || schema::findTable(column.reference))
                << column.reference;
            EXPECT_TRUE(column.reference.empty() || column.kind == schema::kind_t::s32)
                << column.name;
            EXPECT_FALSE(column.sentence.empty());
        }
    }
}

TEST_F(Schema, TheDatabaseHasTheColumnsOfTheRegistry)
{
    create()->finish();
    for (const schema::table_t& table : schema::tables()) {
        std::string expected = "id|INTEGER";
        for (const schema::column_t& column : table.columns) {
            const bool isText = column.kind == schema::kind_t::text;
            const bool isReal = column.kind == schema::kind_t::real;
            expected += "\n" + std::string(column.name) +
                        (isText   ? "|TEXT"
                         : isReal ? "|REAL"
                                  : "|INTEGER");
        }
        EXPECT_EQ(
            shell("SELECT name, type FROM pragma_table_info('" + std::string(table.name) + "')"),
            expected);
    }
}

TEST_F(Schema, ColumnsAreFoundByNameAndByPosition)
{
    const schema::table_t* const table = schema::findTable("dd_code_location");
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(schema::findColumn(*table, 14)->name, "stored_rva");
    EXPECT_EQ(schema::findColumn(*table, "mod_seg")->reference, "dd_module_segment");
    EXPECT_EQ(schema::findColumn(*table, 2), nullptr);
    EXPECT_EQ(schema::findColumn(*table, "nothing"), nullptr);
    EXPECT_EQ(schema::findTable("nothing"), nullptr);
}

TEST_F(Schema, ThePositionsOfSampleColumnsAreFixed)
{
    const schema::table_t& table = *schema::findTable("dd_sample");
    const char* const names[] = {"event_type", "cpu",      "ip",         "cpu_state",
                                 "callsite",   "seg_inst", "mem_access", "thread_state",
                                 "reserved",   "lbr_head", "htm_info",   "cpu_mode"};
    for (std::uint16_t position = 0; position < std::size(names); ++position)
        EXPECT_EQ(schema::findColumn(table, position)->name, names[position]);
}

} // namespace
