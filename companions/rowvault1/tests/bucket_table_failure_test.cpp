#include "bucket_table_fixture.h"
#include "child_process.h"

#include <csignal>
#include <filesystem>
#include <unistd.h>

using namespace rowvault1;

namespace {

class BucketFailure : public ResultTest, public testing::WithParamInterface<bool> {
protected:
    BucketFailure() { options.writerThread = GetParam(); }
};

TEST_P(BucketFailure, AFullDiskEndsABulkAndCommittedRowsStay)
{
    options.queueBytes = 1 << 18;
    const int status = inChild([&] {
        const auto result = create();
        SpanTable table = openSpans(*result);
        CountingRows first(1000);
        if (!table.insert(1, first)) return 1;
        result->commitPoint();
        limitFileSize(4 << 20);
        CountingRows rows(3000000);
        if (table.insert(2, rows)) return 2;
        if (rows.given == 3000000) return 3;
        if (table.insert(2, spanAt(1))) return 4;
        if (result->failure().find(database()) == std::string::npos) return 5;
        ConstBucketIterator<span_t> walk;
        ConstBucketKeyIterator buckets;
        if (table.query(walk, 1) || !walk.atEnd()) return 6;
        if (table.query(buckets) || !buckets.atEnd()) return 7;
        if (table.sort() || table.clear()) return 8;
        if (table.addCustomField({0, "cpu", fieldTypeS32, 1, ""}) != InvalidColIdx) return 9;
        return table.size() == 1000 && table.size(2) == 0 ? 0 : 10;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(shell("SELECT count(*), min(bucket), max(bucket), max(end_tsc) "
                    "FROM cpu_running_data_t; PRAGMA integrity_check"),
              "1000|1|1|999\nok");
}

TEST_P(BucketFailure, AFullDiskDuringSortLeavesTheCommittedRowsUnsorted)
{
    const int status = inChild([&] {
        const auto result = create();
        SpanTable table = openSpans(*result);
        CountingRows rows(100000);
        table.insert(1, rows);
        result->commitPoint();
        limitFileSize(std::filesystem::file_size(database()));
        const bool sorted = table.sort();
        try {
            result->commitPoint(); // pages may wait in the cache until then
            return 1;
        } catch (const StoreError&) {
        }
        return sorted && result->failure().empty() ? 2 : 0;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(shell("SELECT count(*) FROM cpu_running_data_t; SELECT count(*) FROM sqlite_schema "
                    "WHERE name = 'cpu_running_data_t_order'; PRAGMA integrity_check"),
              "100000\n0\nok");
}

TEST_P(BucketFailure, AKilledLoadKeepsWhatItHadCommitted)
{
    const int status = inChild([&] {
        options.cacheBytes = 1 << 18; // small, so that the cache spills within a transaction
        const auto result = create();
        SpanTable table = openSpans(*result);
        CountingRows first(5000);
        table.insert(1, first);
        result->commitPoint();
        table.clear();
        table.addCustomField({0, "cpu", fieldTypeS32, 1, ""});
        table.sort();
        CountingRows rows(50000);
        table.insert(2, rows);
        table.size(); // all of it has reached the database, but for the commit
        std::raise(SIGKILL);
        return 0;
    });
    EXPECT_EQ(status, -1);
    EXPECT_EQ(shell("PRAGMA integrity_check"), "ok");
    const auto result = open(open_mode_t::append);
    SpanTable table = openSpans(*result);
    EXPECT_EQ(table.size(), 5000U);
    EXPECT_EQ(bucketsOf(table), std::vector<std::int32_t>{1});
    EXPECT_EQ(table.addCustomField({0, "weight", fieldTypeU64, 1, ""}), 0);
}

TEST_P(BucketFailure, NothingChangesWhileASqlReaderIsAtWork)
{
    class Changer final : public ISqlReader {
    public:
        explicit Changer(SpanTable& table) : m_table(table) {}
        void onColumns(std::span<const std::string>) override {}
        bool onRow(std::span<const tb2::variant_t>) override
        {
            return m_table.insert(1, spanAt(9)) || m_table.clear() || m_table.sort();
        }

    private:
        SpanTable& m_table;
    };
    const auto result = create();
    SpanTable table = openSpans(*result);
    table.insert(1, spanAt(1, 10));
    const AssertionLog log;
    Changer changer(table);
    readSql(*result, "SELECT id FROM cpu_running_data_t", changer);
    EXPECT_EQ(log.expressions(), std::vector<std::string>(3, "!isReading()"));
    EXPECT_EQ(endsOf(table, 1), std::vector<std::uint64_t>{10});
}

TEST_P(BucketFailure, AResultForReadingIsReadAndNotChanged)
{
    {
        const auto result = create();
        SpanTable table = openSpans(*result);
        table.insert(1, spanAt(1, 10));
        result->finish();
    }
    const auto result = open(open_mode_t::read_only);
    SpanTable table = openSpans(*result);
    EXPECT_FALSE(table.insert(1, spanAt(2)));
    EXPECT_FALSE(table.clear());
    EXPECT_FALSE(table.sort());
    EXPECT_EQ(endsOf(table, 1), std::vector<std::uint64_t>{10});
    EXPECT_EQ(result->failure(), "");
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutWriterThread, BucketFailure, testing::Bool());

} // namespace
