#include <samplefold_1/cpu_running_data.h>

#include <gtest/gtest.h>
#include <rowvault1/result.h>

#include <cstdint>
#include <filesystem>
#include <iterator>
#include <limits>
#include <string>
#include <type_traits>
#include <unistd.h>
#include <vector>

namespace samplefold_test {
namespace {

using rowvault1::cpu_running_data_t;
using rowvault1::Index;
using rowvault1::open_mode_t;
using samplefold_1::CpuRunningData;

using CpuRunningTable = rowvault1::GenericBucketTable<CpuRunningData>;

/// Rows of a statement, columns joined by bars.
class SqlRows final : public rowvault1::ISqlReader {
public:
    void onColumns(std::span<const std::string>) override {}
    bool onRow(std::span<const tb2::variant_t> row) override
    {
        std::string text;
        for (const tb2::variant_t& value : row)
            text += (value.is_null() ? "null" : std::to_string(value.as_s64())) + "|";
        rows.push_back(text);
        return true;
    }
    std::vector<std::string> rows;
};

class CpuRunning : public testing::Test {
protected:
    CpuRunning()
        : m_folder(std::filesystem::temp_directory_path() /
                   ("cpu_running_" + std::to_string(::getpid())))
    {
        std::filesystem::remove_all(m_folder);
    }
    ~CpuRunning() override { std::filesystem::remove_all(m_folder); }

    tb2::sptr_t<rowvault1::IResult> open(open_mode_t mode) const
    {
        return rowvault1::openResult(m_folder.string(), mode);
    }

private:
    std::filesystem::path m_folder;
};

TEST_F(CpuRunning, TheTableHasItsName)
{
    EXPECT_STREQ(cpu_running_data_t::s_tableName, "cpu_running_data_t");
}

TEST_F(CpuRunning, TheColumnsAreThreadStartAndEnd)
{
    const auto& fields = cpu_running_data_t::s_fields;
    ASSERT_EQ(std::size(fields), 3U);
    EXPECT_STREQ(fields[0].name, "thread");
    EXPECT_STREQ(fields[1].name, "start_tsc");
    EXPECT_STREQ(fields[2].name, "end_tsc");
    EXPECT_EQ(fields[0].type, 6);
    EXPECT_EQ(fields[1].type, 9);
    EXPECT_EQ(fields[2].type, 9);
    for (std::uint16_t n = 0; n < std::size(fields); ++n) {
        EXPECT_EQ(fields[n].number, n);
        EXPECT_EQ(fields[n].flag, 1);
        EXPECT_STREQ(fields[n].text, "");
    }
}

TEST_F(CpuRunning, ARowIsAThreadAStartAndAnEnd)
{
    const auto& [thread, start, end] = CpuRunningData{Index(3), 10, 20};
    static_assert(std::is_same_v<decltype(thread), const Index>);
    EXPECT_EQ(thread, Index(3));
    EXPECT_EQ(start, std::uint64_t{10});
    EXPECT_EQ(end, std::uint64_t{20});
    EXPECT_FALSE(CpuRunningData{}.thread.exist());
}

TEST_F(CpuRunning, ARowGoesToItsColumnsAndComesBack)
{
    const auto result = open(open_mode_t::create);
    CpuRunningTable table(*result->database(), cpu_running_data_t::s_tableName);
    ASSERT_TRUE(table.isOpen());
    const std::uint64_t highest = std::numeric_limits<std::uint64_t>::max();
    EXPECT_TRUE(table.insert(-4, {Index(3), 10, highest}));
    EXPECT_TRUE(table.insert(-4, {Index(), 11, 12}));
    SqlRows stored;
    rowvault1::readSql(*result, "SELECT thread, start_tsc, end_tsc, bucket FROM cpu_running_data_t",
                       stored);
    EXPECT_EQ(stored.rows, (std::vector<std::string>{"3|10|-1|-4|", "-1|11|12|-4|"}));
    rowvault1::ConstBucketIterator<CpuRunningData> row;
    ASSERT_TRUE(table.query(row, -4));
    EXPECT_EQ(row.current().thread, Index(3));
    EXPECT_EQ(row.current().start_tsc, 10U);
    EXPECT_EQ(row.current().end_tsc, highest);
    row.next();
    EXPECT_EQ(row.current().thread, Index());
}

TEST_F(CpuRunning, SortGoesByTheStart)
{
    const auto result = open(open_mode_t::create);
    CpuRunningTable table(*result->database(), cpu_running_data_t::s_tableName);
    table.insert(0, {Index(1), 30, 31});
    table.insert(0, {Index(2), 20, 99});
    EXPECT_TRUE(table.sort());
    rowvault1::ConstBucketIterator<CpuRunningData> row;
    ASSERT_TRUE(table.query(row, 0));
    EXPECT_EQ(row.current().start_tsc, 20U);
    row.next();
    EXPECT_EQ(row.current().start_tsc, 30U);
}

TEST_F(CpuRunning, ATableOfAnotherNameKeepsItsOwnRows)
{
    {
        const auto result = open(open_mode_t::create);
        CpuRunningTable guest(*result->database(), "guest_running");
        ASSERT_TRUE(guest.insert(1, {Index(1), 1, 2}));
        result->finish();
    }
    const auto result = open(open_mode_t::append);
    EXPECT_EQ(CpuRunningTable(*result->database(), "guest_running").size(1), 1U);
    EXPECT_EQ(CpuRunningTable(*result->database(), cpu_running_data_t::s_tableName).size(), 0U);
}

} // namespace
} // namespace samplefold_test
