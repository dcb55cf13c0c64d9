#include "bucket_table_fixture.h"

#include <limits>
#include <numeric>

using namespace rowvault1;

namespace {

constexpr std::int32_t g_lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t g_highest = std::numeric_limits<std::int32_t>::max();

class BucketTable : public ResultTest, public testing::WithParamInterface<bool> {
protected:
    BucketTable() { options.writerThread = GetParam(); }
    std::string stored(const std::string& columns = "*") const
    {
        return shell("SELECT " + columns + " FROM cpu_running_data_t ORDER BY id");
    }
};

TEST_P(BucketTable, ARowIsStoredWithItsBucketBehindItsColumns)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    ASSERT_TRUE(table.isOpen());
    EXPECT_TRUE(table.insert(4, {Index(7), 100, 200}));
    result->finish();
    EXPECT_EQ(stored("thread, start_tsc, end_tsc, bucket"), "7|100|200|4");
}

TEST_P(BucketTable, Unsigned64BitValuesKeepTheirBits)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    const span_t row{Index(1), topBit, ~std::uint64_t{0}};
    table.insert(0, row);
    EXPECT_EQ(rowsOf(table, 0), std::vector<span_t>{row});
    result->finish();
    EXPECT_EQ(stored("printf('%llx %llx', start_tsc, end_tsc)"),
              "8000000000000000 ffffffffffffffff");
}

TEST_P(BucketTable, ANegativeBucketIsABucketLikeAnyOther)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    table.insert(g_lowest, spanAt(1, 10));
    table.insert(-1, spanAt(2, 20));
    table.insert(1, spanAt(3, 30));
    EXPECT_EQ(endsOf(table, g_lowest), std::vector<std::uint64_t>{10});
    EXPECT_EQ(endsOf(table, -1), std::vector<std::uint64_t>{20});
    result->finish();
    EXPECT_EQ(stored("bucket"), "-2147483648\n-1\n1");
}

TEST_P(BucketTable, AKeyThatDoesNotExistIsAnEmptyColumnAndReadsAsNoKey)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    table.insert(0, {Index(), 1, 2});
    EXPECT_EQ(rowsOf(table, 0), (std::vector<span_t>{{Index(), 1, 2}}));
    result->finish();
    EXPECT_EQ(stored("thread IS NULL"), "1");
}

TEST_P(BucketTable, AQueryGivesTheRowsOfItsBucketInTheOrderOfInsertion)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    for (const std::uint64_t end : {5U, 3U, 9U, 1U})
        table.insert(end == 9 ? 2 : 1, spanAt(end, end));
    EXPECT_EQ(endsOf(table, 1), (std::vector<std::uint64_t>{5, 3, 1}));
    EXPECT_EQ(endsOf(table, 2), std::vector<std::uint64_t>{9});
    EXPECT_TRUE(endsOf(table, 3).empty());
}

TEST_P(BucketTable, BucketsAreListedOnceEachFromTheLowest)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    EXPECT_TRUE(bucketsOf(table).empty());
    for (const std::int32_t bucket : {3, -2, 3, g_highest, 0, g_lowest, -2})
        table.insert(bucket, spanAt(1));
    EXPECT_EQ(bucketsOf(table), (std::vector<std::int32_t>{g_lowest, -2, 0, 3, g_highest}));
}

TEST_P(BucketTable, MoreBucketsThanAreReadAtOnceAreListed)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    for (std::int32_t bucket = 1500; bucket-- > -1500;)
        table.insert(bucket, spanAt(1));
    std::vector<std::int32_t> all(3000);
    std::iota(all.begin(), all.end(), -1500);
    EXPECT_EQ(bucketsOf(table), all);
}

TEST_P(BucketTable, ABulkOfRowsIsStoredInItsOrder)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    table.insert(2, spanAt(1));
    CountingRows rows(100000);
    EXPECT_TRUE(table.insert(1, rows));
    EXPECT_EQ(table.size(1), 100000U);
    const std::vector<std::uint64_t> ends = endsOf(table, 1);
    std::vector<std::uint64_t> all(100000);
    std::iota(all.begin(), all.end(), 0);
    EXPECT_TRUE(ends == all);
    result->finish();
    EXPECT_EQ(shell("SELECT count(*), sum(start_tsc = 3 * end_tsc), sum(id = end_tsc + 2), "
                    "sum(thread = end_tsc), max(end_tsc) FROM cpu_running_data_t WHERE bucket = 1"),
              "100000|100000|100000|100000|99999");
}

TEST_P(BucketTable, ABulkWithoutRowsStoresNothing)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    CountingRows none(0);
    EXPECT_TRUE(table.insert(1, none));
    EXPECT_EQ(table.size(), 0U);
    EXPECT_TRUE(bucketsOf(table).empty());
}

TEST_P(BucketTable, SizesCountRowsInAllAndByBucket)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    EXPECT_EQ(table.size(), 0U);
    for (const std::int32_t bucket : {1, -1, 1, 1})
        table.insert(bucket, spanAt(1));
    EXPECT_EQ(table.size(), 4U);
    EXPECT_EQ(table.size(1), 3U);
    EXPECT_EQ(table.size(-1), 1U);
    EXPECT_EQ(table.size(2), 0U);
}

TEST_P(BucketTable, ClearRemovesAllRowsAndRowsInsertedLaterStay)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    table.insert(1, spanAt(1, 10));
    result->commitPoint();
    table.insert(2, spanAt(2, 20));
    EXPECT_TRUE(table.clear());
    EXPECT_EQ(table.size(), 0U);
    EXPECT_TRUE(bucketsOf(table).empty());
    table.insert(1, spanAt(3, 30));
    EXPECT_EQ(endsOf(table, 1), std::vector<std::uint64_t>{30});
    result->finish();
    EXPECT_EQ(stored("end_tsc, bucket"), "30|1");
}

TEST_P(BucketTable, AWalkKeepsToTheRowsThatWereThereAtItsQuery)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    for (std::uint64_t n = 0; n < 2000; ++n)
        table.insert(1, spanAt(n, n));
    ConstBucketIterator<span_t> walk;
    ASSERT_TRUE(table.query(walk, 1));
    std::uint64_t met = 0;
    for (; !walk.atEnd(); walk.next()) {
        EXPECT_EQ(walk.current().end, met++);
        EXPECT_TRUE(table.insert(1, spanAt(0, 7777)));
    }
    EXPECT_EQ(met, 2000U);
    EXPECT_EQ(table.size(1), 4000U);
}

TEST_P(BucketTable, AListOfBucketsKeepsToTheRowsThatWereThereAtItsQuery)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    for (std::int32_t bucket = 0; bucket < 1000; ++bucket)
        table.insert(bucket, spanAt(1));
    ConstBucketKeyIterator walk;
    ASSERT_TRUE(table.query(walk));
    table.insert(5000, spanAt(1));
    std::int32_t last = -1;
    for (; !walk.atEnd(); walk.next())
        last = walk.current();
    EXPECT_EQ(last, 999);
}

TEST_P(BucketTable, ClearEndsAWalkThatIsUnderWay)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    CountingRows rows(5000);
    table.insert(1, rows);
    ConstBucketIterator<span_t> walk;
    ASSERT_TRUE(table.query(walk, 1));
    EXPECT_TRUE(table.clear());
    CountingRows more(5000);
    table.insert(1, more);
    std::uint64_t met = 0;
    for (; !walk.atEnd(); walk.next())
        EXPECT_EQ(walk.current().end, met++);
    EXPECT_LT(met, 5000U);
    EXPECT_FALSE(walk.failed());
}

TEST_P(BucketTable, TwoObjectsOnOneTableSeeTheSameRows)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    SpanTable other = openSpans(*result);
    table.insert(1, spanAt(1, 10));
    other.insert(1, spanAt(2, 20));
    table.insert(1, spanAt(3, 30));
    EXPECT_EQ(endsOf(other, 1), (std::vector<std::uint64_t>{10, 20, 30}));
}

TEST_P(BucketTable, AResultThatIsOpenedAgainHasItsRowsAndTakesMore)
{
    {
        const auto result = create();
        SpanTable table = openSpans(*result);
        table.insert(1, spanAt(1, 10));
        table.insert(2, spanAt(2, 20));
        result->finish();
    }
    {
        const auto result = open(open_mode_t::append);
        SpanTable table = openSpans(*result);
        EXPECT_EQ(table.size(), 2U);
        EXPECT_EQ(endsOf(table, 1), std::vector<std::uint64_t>{10});
        table.insert(1, spanAt(3, 30));
        EXPECT_EQ(endsOf(table, 1), (std::vector<std::uint64_t>{10, 30}));
        result->finish();
    }
    EXPECT_EQ(stored("end_tsc, bucket"), "10|1\n20|2\n30|1");
}

TEST_P(BucketTable, AQueryByTheSchemaSeesTheRowsToo)
{
    const auto result = create();
    SpanTable table = openSpans(*result);
    table.insert(-6, spanAt(topBit, 10));
    const auto query = result->database()->createQuery(cpuRunning, 2);
    ASSERT_EQ(query->addColumn("start_tsc"), 0);
    ASSERT_EQ(query->addColumn("bucket"), 1);
    const auto rows = query->execute();
    ASSERT_FALSE(rows->atEnd());
    EXPECT_EQ(rows->current()->get(0), tb2::variant_t(topBit));
    EXPECT_EQ(rows->current()->get(1), tb2::variant_t(-6));
}

TEST_P(BucketTable, IteratorsByDefaultAreAtTheirEnd)
{
    ConstBucketIterator<span_t> rows;
    ConstBucketKeyIterator buckets;
    rows.next();
    buckets.next();
    EXPECT_TRUE(rows.atEnd());
    EXPECT_TRUE(buckets.atEnd());
    EXPECT_EQ(rows.current(), span_t());
    EXPECT_EQ(buckets.current(), 0);
    EXPECT_TRUE(rows.custom(0).is_null());
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutWriterThread, BucketTable, testing::Bool());

} // namespace
