#include "bucket_table_fixture.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

using namespace rowvault1;

namespace {

class BucketDefinition : public ResultTest {
protected:
    std::string messageOf(open_mode_t mode) const
    {
        try {
            open(mode);
        } catch (const StoreError& error) {
            return error.what();
        }
        return "opened";
    }
};

TEST_F(BucketDefinition, ATableOfAnotherNameIsMadeAndFoundAgain)
{
    {
        const auto result = create();
        SpanTable table = openSpans(*result, "my_spans");
        ASSERT_TRUE(table.isOpen());
        table.insert(1, spanAt(1, 10));
        table.addCustomField(weightField);
        EXPECT_EQ(openSpans(*result).size(), 0U);
        result->finish();
    }
    EXPECT_EQ(shell("SELECT thread, start_tsc, end_tsc, bucket FROM my_spans"), "1|1|10|1");
    const auto result = open(open_mode_t::append);
    SpanTable table = openSpans(*result, "my_spans");
    ASSERT_TRUE(table.isOpen());
    EXPECT_EQ(table.addCustomField(weightField), 0);
    table.insert(1, spanAt(2, 20));
    EXPECT_EQ(endsOf(table, 1), (std::vector<std::uint64_t>{10, 20}));
    result->finish();
    EXPECT_EQ(shell("SELECT id, end_tsc FROM my_spans"), "1|10\n2|20");
}

TEST_F(BucketDefinition, ATableThatIsNotThereCannotBeMadeInAResultForReading)
{
    create()->finish();
    const auto result = open(open_mode_t::read_only);
    EXPECT_FALSE(openSpans(*result, "my_spans").isOpen());
    EXPECT_TRUE(openSpans(*result).isOpen());
}

TEST_F(BucketDefinition, NamesThatCannotBeBucketTablesGiveNoTable)
{
    const auto result = create();
    for (const char* const name :
         {"", "dd_sample", "sample_instance", "sample_band", "samples", "CPU_Running_Data_T", "a b",
          "x\"; DROP TABLE dd_cpu; --", "sqlite_x"})
        EXPECT_FALSE(openSpans(*result, name).isOpen()) << name;
    EXPECT_FALSE(openSpans(*result, nullptr).isOpen());
    EXPECT_EQ(result->failure(), "");
}

TEST_F(BucketDefinition, ATableWithOtherColumnsGivesNoTable)
{
    const auto result = create();
    EXPECT_FALSE(GenericBucketTable<signed_t>(*result->database(), cpuRunning).isOpen());
    EXPECT_TRUE(openSpans(*result, "my_spans").isOpen());
    EXPECT_FALSE(GenericBucketTable<signed_t>(*result->database(), "my_spans").isOpen());
}

TEST_F(BucketDefinition, ATableThatIsNotOpenDoesNothing)
{
    const auto result = create();
    SpanTable table = openSpans(*result, "");
    CountingRows rows(3);
    ConstBucketIterator<span_t> walk;
    ConstBucketKeyIterator buckets;
    EXPECT_FALSE(table.insert(1, spanAt(1)));
    EXPECT_FALSE(table.insert(1, rows));
    EXPECT_FALSE(table.query(walk, 1));
    EXPECT_FALSE(table.query(buckets));
    EXPECT_FALSE(table.sort());
    EXPECT_FALSE(table.clear());
    EXPECT_EQ(table.size(), 0U);
    EXPECT_EQ(table.size(1), 0U);
    EXPECT_EQ(table.addCustomField(weightField), InvalidColIdx);
}

TEST_F(BucketDefinition, FieldsThatCannotBeColumnsGiveNoTable)
{
    const auto result = create();
    const auto opens = [&](std::vector<field_info_t> fields) {
        return !openBucketTable(*result->database(), "my_rows", fields).is_null();
    };
    EXPECT_FALSE(opens({}));
    EXPECT_FALSE(opens({{1, "a", fieldTypeS32, 1, ""}}));
    EXPECT_FALSE(opens({{0, "bucket", fieldTypeS32, 1, ""}}));
    EXPECT_FALSE(opens({{0, "a", fieldTypeS32, 1, ""}, {1, "A", fieldTypeS32, 1, ""}}));
    EXPECT_FALSE(opens({{0, "a", 0, 1, ""}}));
    EXPECT_FALSE(opens({{0, nullptr, fieldTypeS32, 1, ""}}));
    EXPECT_TRUE(opens({{0, "a", fieldTypeS32, 1, ""}, {1, "b", fieldTypeU64, 1, ""}}));
}

TEST_F(BucketDefinition, AColumnOfAnotherMakeIsRefusedAtOpening)
{
    const char* const changes[] = {"ADD COLUMN x TEXT", "ADD COLUMN \"x\" INTEGER DEFAULT 3",
                                   "ADD COLUMN \"x y\" INTEGER", "RENAME COLUMN bucket TO pail",
                                   "ADD COLUMN \"x\" AS (1)"};
    for (const char* const change : changes) {
        create()->finish();
        EXPECT_EQ(shell(std::string("ALTER TABLE cpu_running_data_t ") + change), "");
        EXPECT_NE(
            messageOf(open_mode_t::append).find("table cpu_running_data_t is not as it should be"),
            std::string::npos)
            << change;
        std::filesystem::remove(database());
    }
}

TEST_F(BucketDefinition, MoreColumnsThanATableTakesAreRefusedAtOpening)
{
    create()->finish();
    for (int n = 0; n < 37; ++n)
        shell("ALTER TABLE cpu_running_data_t ADD COLUMN \"c" + std::to_string(n) + "\" INTEGER");
    EXPECT_NE(messageOf(open_mode_t::read_only).find("table cpu_running_data_t"),
              std::string::npos);
}

TEST_F(BucketDefinition, ValuesOfOtherTypesThanDeclaredReadAsEmpty)
{
    create()->finish();
    shell("INSERT INTO cpu_running_data_t(thread, start_tsc, end_tsc, bucket) VALUES"
          "('x', 'y', 'z', 1), (99999999999, 1.5, x'00', 1), (NULL, NULL, 3, 1),"
          "(4, 4, 4, 'b'), (5, 5, 5, NULL), (6, 6, 6, 99999999999)");
    const auto result = open(open_mode_t::read_only);
    SpanTable table = openSpans(*result);
    EXPECT_EQ(rowsOf(table, 1), (std::vector<span_t>{{}, {}, {Index(), 0, 3}}));
    EXPECT_EQ(bucketsOf(table), std::vector<std::int32_t>{1});
}

TEST_F(BucketDefinition, DamagedBytesNeverCrashTheReader)
{
    {
        const auto result = create();
        SpanTable table = openSpans(*result);
        for (std::uint64_t n = 0; n < 3000; ++n)
            table.insert(static_cast<std::int32_t>(n % 3), spanAt(n % 7, n));
        table.sort();
        result->finish();
    }
    std::ifstream file(database(), std::ios::binary);
    const std::string sound{std::istreambuf_iterator<char>(file), {}};
    std::mt19937 random(17);
    int walked = 0;
    for (int round = 0; round < 100; ++round) {
        std::string damaged = sound;
        for (int n = 0; n < 40; ++n)
            damaged[random() % damaged.size()] = static_cast<char>(random());
        std::ofstream(database(), std::ios::binary) << damaged;
        try {
            const auto result = open(open_mode_t::append);
            SpanTable table = openSpans(*result);
            std::size_t rows = 0;
            ConstBucketKeyIterator bucket;
            for (table.query(bucket); !bucket.atEnd(); bucket.next()) {
                ConstBucketIterator<span_t> walk;
                for (table.query(walk, bucket.current()); !walk.atEnd(); walk.next())
                    ++rows;
            }
            EXPECT_LE(rows, 20000U);
            walked += rows > 0;
            table.insert(1, spanAt(1));
            result->finish();
        } catch (const StoreError&) {
            continue;
        }
    }
    EXPECT_GT(walked, 10);
}

} // namespace
