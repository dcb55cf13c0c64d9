#include "bucket_table_fixture.h"

#include <algorithm>
#include <random>

using namespace rowvault1;

namespace {

class BucketOrder : public ResultTest {
protected:
    std::string indexes() const
    {
        return shell(
            "SELECT group_concat(name) FROM pragma_index_info('cpu_running_data_t_order')");
    }
};

TEST_F(BucketOrder, AfterSortRowsAreReadByTheirStart)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    table.insert(1, spanAt(30, 3));
    table.insert(1, spanAt(10, 1));
    table.insert(2, spanAt(5, 9));
    table.insert(1, spanAt(20, 2));
    EXPECT_TRUE(table.sort());
    EXPECT_EQ(endsOf(table, 1), (std::vector<std::uint64_t>{1, 2, 3}));
    EXPECT_EQ(endsOf(table, 2), std::vector<std::uint64_t>{9});
}

TEST_F(BucketOrder, RowsOfOneStartAreReadInTheOrderOfInsertion)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    for (const std::uint64_t end : {4U, 2U, 8U, 6U})
        table.insert(1, spanAt(70, end));
    table.insert(1, spanAt(60, 5));
    EXPECT_TRUE(table.sort());
    EXPECT_EQ(endsOf(table, 1), (std::vector<std::uint64_t>{5, 4, 2, 8, 6}));
}

TEST_F(BucketOrder, StartsAreOrderedAsUnsignedNumbers)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    for (const std::uint64_t start :
         {~std::uint64_t{0}, topBit, std::uint64_t{0}, topBit - 1, std::uint64_t{1}, topBit + 1})
        table.insert(1, spanAt(start, start));
    EXPECT_TRUE(table.sort());
    EXPECT_EQ(endsOf(table, 1), (std::vector<std::uint64_t>{0, 1, topBit - 1, topBit, topBit + 1,
                                                            ~std::uint64_t{0}}));
}

TEST_F(BucketOrder, ASignedSortColumnIsOrderedAsSignedWithEmptyOnesFirst)
{
    const auto result = create();
    GenericBucketTable<signed_t> table(*result->database(), "signed_rows");
    ASSERT_TRUE(table.isOpen());
    for (const std::int32_t value : {5, -2147483647 - 1, 2147483647, -1, 0})
        table.insert(1, {value, false});
    table.insert(1, {0, true});
    EXPECT_TRUE(table.sort());
    std::vector<std::int32_t> values;
    for (const signed_t& row : rowsOf(table, 1))
        values.push_back(row.isEmpty ? 99 : row.value);
    EXPECT_EQ(values, (std::vector<std::int32_t>{99, -2147483647 - 1, -1, 0, 5, 2147483647}));
}

TEST_F(BucketOrder, ManyRowsWithFewStartsComeAsAStableSortGivesThem)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    std::mt19937_64 random(5);
    std::vector<span_t> expected[3];
    for (std::uint64_t n = 0; n < 30000; ++n) {
        // Runs of ties that are shorter and longer than what is read at once, in both halves.
        const std::uint64_t start =
            (random() % 2) * topBit + (n % 3 == 0 ? random() : random() % 7);
        const auto bucket = static_cast<std::int32_t>(random() % 3);
        expected[bucket].push_back(spanAt(start, n));
        ASSERT_TRUE(table.insert(bucket, expected[bucket].back()));
    }
    EXPECT_TRUE(table.sort());
    for (std::int32_t bucket = 0; bucket < 3; ++bucket) {
        std::ranges::stable_sort(expected[bucket], {}, &span_t::start);
        EXPECT_TRUE(rowsOf(table, bucket) == expected[bucket]) << bucket;
    }
}

TEST_F(BucketOrder, RunsOfTheHighestStartsThatAreAsLongAsAPageAreReadOnce)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    for (std::int32_t rows = 510; rows <= 514; ++rows) {
        for (std::int32_t n = 0; n < rows; ++n) {
            table.insert(rows, spanAt(topBit - 1));
            table.insert(-rows, spanAt(~std::uint64_t{0}));
        }
        table.insert(rows, spanAt(topBit));
    }
    for (int sorted = 0; sorted < 2; ++sorted) {
        for (std::int32_t rows = 510; rows <= 514; ++rows) {
            EXPECT_EQ(endsOf(table, rows).size(), static_cast<std::size_t>(rows) + 1);
            EXPECT_EQ(endsOf(table, -rows).size(), static_cast<std::size_t>(rows));
        }
        table.sort();
    }
}

TEST_F(BucketOrder, RowsInsertedAfterSortTakeTheirPlace)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    table.insert(1, spanAt(30, 3));
    EXPECT_TRUE(table.sort());
    table.insert(1, spanAt(10, 1));
    EXPECT_EQ(endsOf(table, 1), (std::vector<std::uint64_t>{1, 3}));
}

TEST_F(BucketOrder, AWalkInOrderDoesNotMeetRowsInsertedLater)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    for (std::uint64_t n = 0; n < 2000; ++n)
        table.insert(1, spanAt(2000 - n, n));
    table.sort();
    ConstBucketIterator<span_t> walk;
    ASSERT_TRUE(table.query(walk, 1));
    std::uint64_t met = 0;
    for (; !walk.atEnd(); walk.next()) {
        EXPECT_EQ(walk.current().start, ++met);
        table.insert(1, spanAt(5000 + met, 0));
    }
    EXPECT_EQ(met, 2000U);
}

TEST_F(BucketOrder, SortingASortedTableChangesNothing)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    table.insert(1, spanAt(30, 3));
    table.insert(1, spanAt(10, 1));
    EXPECT_TRUE(table.sort());
    EXPECT_TRUE(table.sort());
    EXPECT_EQ(endsOf(table, 1), (std::vector<std::uint64_t>{1, 3}));
}

TEST_F(BucketOrder, TheOrderStaysInTheResult)
{
    {
        const auto result = create();
        SpanTable table = openSpans(*result);
        table.insert(1, spanAt(30, 3));
        table.insert(1, spanAt(10, 1));
        EXPECT_TRUE(table.sort());
        result->finish();
    }
    EXPECT_EQ(indexes(), "bucket,start_tsc");
    const auto result = open(open_mode_t::read_only);
    SpanTable table = openSpans(*result);
    EXPECT_EQ(endsOf(table, 1), (std::vector<std::uint64_t>{1, 3}));
}

TEST_F(BucketOrder, TheOrderOutlastsClear)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    table.sort();
    table.clear();
    table.insert(1, spanAt(30, 3));
    table.insert(1, spanAt(10, 1));
    EXPECT_EQ(endsOf(table, 1), (std::vector<std::uint64_t>{1, 3}));
}

TEST_F(BucketOrder, AnIndexOfAnotherMakeInItsPlaceIsNoOrderUntilSort)
{
    {
        const auto result = create();
        SpanTable table = openSpans(*result);
        table.insert(1, spanAt(30, 3));
        table.insert(1, spanAt(10, 1));
        result->finish();
    }
    shell("CREATE INDEX cpu_running_data_t_order ON cpu_running_data_t(bucket, end_tsc DESC)");
    const auto result = open(open_mode_t::append);
    SpanTable table = openSpans(*result);
    EXPECT_EQ(endsOf(table, 1), (std::vector<std::uint64_t>{3, 1}));
    EXPECT_TRUE(table.sort());
    EXPECT_EQ(endsOf(table, 1), (std::vector<std::uint64_t>{1, 3}));
    result->finish();
    EXPECT_EQ(indexes(), "bucket,start_tsc");
}

} // namespace
