#include "result_fixture.h"

#include <algorithm>
#include <limits>
#include <random>

using namespace rowvault1;

namespace {

constexpr std::uint64_t g_last = std::numeric_limits<std::uint64_t>::max();

class FirstRow final : public IInstanceReader {
public:
    bool onInstance(const instance_row_t& given) override
    {
        row = given;
        ++calls;
        return false;
    }
    instance_row_t row;
    int calls = 0;
};

class InstanceContainer : public ResultTest {};

TEST_F(InstanceContainer, ColumnsNeverWrittenAreStoredAsNull)
{
    const auto result = create();
    const auto record = result->instanceContainer()->createOrphanInstanceRecord();
    record->setKey(0, 11);
    record->setKey(4, -1);
    record->setDouble(0, 0.5);
    ASSERT_TRUE(record->insert(100));
    FirstRow reader;
    result->instanceContainer()->read(0, g_last, reader);
    EXPECT_EQ(reader.row.timestamp, 100U);
    EXPECT_EQ(reader.row.keys[0], 11);
    EXPECT_EQ(reader.row.keys[4], -1);
    EXPECT_FALSE(reader.row.keys[5].has_value());
    EXPECT_FALSE(reader.row.integers[2].has_value());
    EXPECT_EQ(reader.row.doubles[0], 0.5);
    result->finish();
    EXPECT_EQ(shell("SELECT sample, thread, rate, next_event_type IS NULL, count IS NULL, end_tsc "
                    "FROM sample_instance"),
              "11|-1|0.5|1|1|100");
}

TEST_F(InstanceContainer, ARecordUsedAgainRepeatsWhatIsNotWrittenAnew)
{
    const auto result = create();
    const auto record = result->instanceContainer()->createOrphanInstanceRecord();
    for (std::uint16_t n = 0; n < 7; ++n)
        record->setKey(n, n + 1);
    for (std::uint16_t n = 0; n < 3; ++n)
        record->setInteger(n, 10U + n);
    record->insert(1);
    record->setKey(0, 100);
    record->setInteger(1, std::uint64_t{1} << 63);
    record->insert(2);
    result->finish();
    EXPECT_EQ(
        shell(
            "SELECT id, sample, callsite, event_type, cpu, thread, next_event_type, next_callsite,"
            " reserved_value, count, start_tsc, end_tsc FROM sample_instance"),
        "1|1|2|3|4|5|6|7|10|11|12|1\n2|100|2|3|4|5|6|7|10|-9223372036854775808|12|2");
}

TEST_F(InstanceContainer, ColumnsBeyondTheContainerFireAndAreLeft)
{
    const auto result = create();
    const auto record = result->instanceContainer()->createOrphanInstanceRecord();
    const AssertionLog log;
    record->setKey(7, 1);
    record->setInteger(3, 1);
    record->setDouble(1, 1.0);
    EXPECT_EQ(log.expressions(), std::vector<std::string>(3, "isValidColumn( column )"));
    EXPECT_TRUE(record->insert(5));
    result->finish();
    EXPECT_EQ(shell("SELECT count(*) FROM sample_instance WHERE sample IS NULL AND count IS NULL "
                    "AND rate IS NULL"),
              "1");
}

TEST_F(InstanceContainer, RowsComeInUnsignedOrderAndThenAsInserted)
{
    const auto result = create();
    const std::uint64_t half = std::uint64_t{1} << 63;
    std::uint64_t count = 0;
    for (const std::uint64_t time : {g_last, half, std::uint64_t{5}, half - 1, std::uint64_t{5},
                                     std::uint64_t{0}, half, std::uint64_t{5}})
        addInstance(*result, time, ++count);
    EXPECT_EQ(countsBetween(*result, 0, g_last),
              (std::vector<std::uint64_t>{6, 3, 5, 8, 4, 2, 7, 1}));
    EXPECT_EQ(countsBetween(*result, 5, half), (std::vector<std::uint64_t>{3, 5, 8, 4, 2, 7}));
    EXPECT_EQ(countsBetween(*result, half, g_last), (std::vector<std::uint64_t>{2, 7, 1}));
    EXPECT_EQ(countsBetween(*result, half - 1, half - 1), std::vector<std::uint64_t>{4});
    EXPECT_TRUE(countsBetween(*result, 6, 5).empty());
    EXPECT_TRUE(countsBetween(*result, 1, 4).empty());
}

TEST_F(InstanceContainer, RowsInAnyOrderOfTimeAreReadInOrder)
{
    options.queueBytes = 1 << 18; // many small batches
    constexpr std::size_t rows = 30000;
    const auto result = create();
    std::mt19937_64 random(7);
    std::vector<std::pair<std::uint64_t, std::uint64_t>> model;
    for (std::uint64_t n = 0; n < rows; ++n) {
        const std::uint64_t time = n * 100 + random() % 100000;
        model.emplace_back(time, n);
        addInstance(*result, time, n);
    }
    std::ranges::sort(model);
    std::vector<std::uint64_t> expected;
    for (const auto& [time, n] : model)
        expected.push_back(n);
    EXPECT_EQ(countsBetween(*result, 0, g_last), expected);
    EXPECT_EQ(result->instanceContainer()->size(), rows);
    result->finish();
    EXPECT_EQ(shell("SELECT count(*), count(DISTINCT id), min(id), max(id), sum(count = id - 1) "
                    "FROM sample_instance"),
              "30000|30000|1|30000|30000");
}

TEST_F(InstanceContainer, AReaderMayStop)
{
    const auto result = create();
    addInstance(*result, 1, 1);
    addInstance(*result, 2, 2);
    FirstRow reader;
    result->instanceContainer()->read(0, g_last, reader);
    EXPECT_EQ(reader.calls, 1);
    EXPECT_EQ(reader.row.timestamp, 1U);
}

TEST_F(InstanceContainer, RowsStillQueuedAreRead)
{
    const auto result = create();
    addInstance(*result, 10, 1);
    EXPECT_EQ(countsBetween(*result, 0, 100), std::vector<std::uint64_t>{1});
    addInstance(*result, 5, 2);
    EXPECT_EQ(countsBetween(*result, 0, 100), (std::vector<std::uint64_t>{2, 1}));
}

TEST_F(InstanceContainer, AReaderMayInsertRows)
{
    class Doubler final : public IInstanceReader {
    public:
        explicit Doubler(IResult& target) : m_target(target) {}
        bool onInstance(const instance_row_t& row) override
        {
            addInstance(m_target, row.timestamp + 1000000, 0);
            return true;
        }

    private:
        IResult& m_target;
    };
    const auto result = create();
    for (std::uint64_t n = 0; n < 3000; ++n)
        addInstance(*result, n, n);
    Doubler doubler(*result);
    result->instanceContainer()->read(0, 2999, doubler);
    EXPECT_EQ(result->instanceContainer()->size(), 6000U);
    EXPECT_EQ(countsBetween(*result, 0, g_last).size(), 6000U);
}

TEST_F(InstanceContainer, ARangeOfTimeIsFoundWithoutAScan)
{
    auto result = create();
    addInstance(*result, 10, 1);
    result->finish();
    EXPECT_NE(
        shell("EXPLAIN QUERY PLAN SELECT count FROM sample_instance WHERE end_tsc BETWEEN 5 AND 20")
            .find("SEARCH sample_instance USING PRIMARY KEY (end_tsc>? AND end_tsc<?)"),
        std::string::npos);
    EXPECT_NE(shell("EXPLAIN QUERY PLAN SELECT * FROM samples WHERE end_tsc BETWEEN 5 AND 20")
                  .find("SEARCH i USING PRIMARY KEY (end_tsc>? AND end_tsc<?)"),
              std::string::npos);
}

TEST_F(InstanceContainer, SizeAndRowNumbersGoOnAfterAppend)
{
    auto result = create();
    addInstance(*result, 10, 1);
    addInstance(*result, 10, 2);
    result->finish();
    result.reset();
    result = open(open_mode_t::append);
    EXPECT_EQ(result->instanceContainer()->size(), 2U);
    addInstance(*result, 10, 3);
    EXPECT_EQ(result->instanceContainer()->size(), 3U);
    EXPECT_EQ(countsBetween(*result, 0, 20), (std::vector<std::uint64_t>{1, 2, 3}));
    result->finish();
    EXPECT_EQ(shell("SELECT id, count FROM sample_instance ORDER BY id"), "1|1\n2|2\n3|3");
}

} // namespace
