#include "bucket_table_fixture.h"

#include <array>

using namespace rowvault1;
using tb2::variant_t;

namespace {

constexpr field_info_t g_cpu{0, "cpu", fieldTypeS32, 1, ""};

class BucketCustomField : public ResultTest {
protected:
    std::string definition() const
    {
        return shell("SELECT sql FROM sqlite_schema WHERE name = 'cpu_running_data_t'");
    }
    static std::uint16_t addNamed(SpanTable& table, const char* name)
    {
        return table.addCustomField({0, name, fieldTypeS32, 1, ""});
    }
};

TEST_F(BucketCustomField, ACustomFieldWithATextIsRefused)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    const AssertionLog log;
    EXPECT_EQ(table.addCustomField({0, "cpu", fieldTypeS32, 1, "text"}), 65535);
    EXPECT_EQ(log.expressions(), std::vector<std::string>{"Won't be implemented"});
    result->finish();
    EXPECT_EQ(shell("SELECT count(*) FROM pragma_table_info('cpu_running_data_t')"), "5");
}

TEST_F(BucketCustomField, CustomFieldsCountFromTheFirstOfThem)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    const AssertionLog log;
    EXPECT_EQ(table.addCustomField(g_cpu), 0);
    EXPECT_EQ(table.addCustomField(weightField), 1);
    EXPECT_EQ(table.addCustomField({7, "third", fieldTypeS32, 0, nullptr}), 2);
    EXPECT_TRUE(log.expressions().empty());
    result->finish();
    EXPECT_EQ(shell("SELECT group_concat(name) FROM pragma_table_info('cpu_running_data_t')"),
              "id,thread,start_tsc,end_tsc,bucket,cpu,weight,third");
}

TEST_F(BucketCustomField, ACustomFieldThatIsThereIsFoundAgainByNameAndType)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    table.addCustomField(g_cpu);
    table.addCustomField(weightField);
    EXPECT_EQ(table.addCustomField(weightField), 1);
    EXPECT_EQ(openSpans(*result).addCustomField(g_cpu), 0);
    EXPECT_EQ(table.addCustomField({0, "cpu", fieldTypeU64, 1, ""}), InvalidColIdx);
    result->finish();
    EXPECT_EQ(shell("SELECT count(*) FROM pragma_table_info('cpu_running_data_t')"), "7");
}

TEST_F(BucketCustomField, ValuesOfCustomFieldsAreStoredAndReadBack)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    table.addCustomField(g_cpu);
    table.addCustomField(weightField);
    const std::array values{variant_t(-3), variant_t(topBit)};
    EXPECT_TRUE(table.insert(1, spanAt(5, 6), values));
    EXPECT_TRUE(table.insert(1, spanAt(7, 8), std::span(values).first(1)));
    ConstBucketIterator<span_t> walk;
    table.query(walk, 1);
    EXPECT_EQ(walk.custom(0), variant_t(-3));
    EXPECT_EQ(walk.custom(1), variant_t(topBit));
    EXPECT_TRUE(walk.custom(2).is_null());
    EXPECT_TRUE(walk.custom(65535).is_null());
    EXPECT_EQ(walk.current(), spanAt(5, 6));
    result->finish();
    EXPECT_EQ(shell("SELECT cpu, weight, end_tsc FROM cpu_running_data_t"),
              "-3|-9223372036854775808|6\n-3||8");
}

TEST_F(BucketCustomField, RowsWrittenBeforeACustomFieldReadItAsNull)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    SpanTable other = openSpans(*result);
    table.insert(1, spanAt(5, 6));
    other.addCustomField(g_cpu);
    const std::array values{variant_t(9)};
    EXPECT_TRUE(table.insert(1, spanAt(7, 8), values));
    ConstBucketIterator<span_t> walk;
    ASSERT_TRUE(table.query(walk, 1));
    EXPECT_TRUE(walk.custom(0).is_null());
    EXPECT_EQ(walk.current(), spanAt(5, 6));
    walk.next();
    EXPECT_EQ(walk.custom(0), variant_t(9));
}

TEST_F(BucketCustomField, AValueThatFitsNoCustomFieldFires)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    table.addCustomField(g_cpu);
    const AssertionLog log;
    const std::array tooMany{variant_t(1), variant_t(2)};
    const std::array tooLarge{variant_t(topBit)};
    EXPECT_TRUE(table.insert(1, spanAt(1), tooMany));
    EXPECT_TRUE(table.insert(1, spanAt(2), tooLarge));
    EXPECT_EQ(log.expressions(),
              (std::vector<std::string>{"isValidColumn( column )", "kindMatches( column )"}));
    result->finish();
    EXPECT_EQ(shell("SELECT start_tsc, cpu FROM cpu_running_data_t"), "1|1\n2|");
}

TEST_F(BucketCustomField, NamesAndTypesThatCannotBeCustomFieldsAreInvalid)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    for (const char* const name :
         {"", "id", "rowid", "Bucket", "THREAD", "a b", "x\" INTEGER); DROP TABLE dd_cpu; --"})
        EXPECT_EQ(addNamed(table, name), InvalidColIdx) << name;
    EXPECT_EQ(addNamed(table, nullptr), InvalidColIdx);
    EXPECT_EQ(table.addCustomField({0, "cpu", 5, 1, ""}), InvalidColIdx);
    EXPECT_EQ(result->failure(), "");
    EXPECT_EQ(addNamed(table, "cpu"), 0);
    EXPECT_EQ(addNamed(table, "CPU"), InvalidColIdx);
}

TEST_F(BucketCustomField, ATableTakesFortyColumnsAndNoMore)
{
    auto result = create();
    SpanTable table = openSpans(*result);
    std::vector<variant_t> values;
    for (std::int32_t n = 0; n < 36; ++n) {
        EXPECT_EQ(addNamed(table, ("c" + std::to_string(n)).c_str()), n);
        values.emplace_back(n);
    }
    EXPECT_EQ(addNamed(table, "one_more"), InvalidColIdx);
    EXPECT_TRUE(table.insert(1, spanAt(1), values));
    result->finish();
    EXPECT_EQ(shell("SELECT c0, c35 FROM cpu_running_data_t"), "0|35");
    table = openSpans(*(result = {}, result = open(open_mode_t::append)));
    EXPECT_EQ(addNamed(table, "c35"), 35);
}

TEST_F(BucketCustomField, CustomFieldsOfAResultThatIsOpenedAgainKeepTheirKindAndPlace)
{
    {
        const auto result = create();
        SpanTable table = openSpans(*result);
        table.addCustomField(g_cpu);
        table.addCustomField(weightField);
        const std::array values{variant_t(-1), variant_t(topBit)};
        table.insert(1, spanAt(1), values);
        result->finish();
    }
    const auto result = open(open_mode_t::append);
    SpanTable table = openSpans(*result);
    ConstBucketIterator<span_t> walk;
    ASSERT_TRUE(table.query(walk, 1));
    EXPECT_EQ(walk.custom(0), variant_t(-1));
    EXPECT_EQ(walk.custom(1), variant_t(topBit));
    EXPECT_EQ(table.addCustomField(weightField), 1);
    EXPECT_EQ(addNamed(table, "third"), 2);
    const auto query = result->database()->createQuery(cpuRunning, 2);
    EXPECT_NE(query->addColumn("weight"), InvalidColIdx);
}

TEST_F(BucketCustomField, ACustomFieldOfAResultForReadingIsFoundButNotAdded)
{
    {
        const auto result = create();
        openSpans(*result).addCustomField(g_cpu);
        result->finish();
    }
    const std::string before = definition();
    const auto result = open(open_mode_t::read_only);
    SpanTable table = openSpans(*result);
    EXPECT_EQ(table.addCustomField(g_cpu), 0);
    EXPECT_EQ(table.addCustomField(weightField), InvalidColIdx);
    EXPECT_EQ(definition(), before);
}

} // namespace
