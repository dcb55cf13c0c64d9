#include "made_result.h"

#include "report/sql_rows.h"
#include "report/sums.h"

#include <limits>
#include <random>

namespace samplefold::report {
namespace {

class SumOfTest : public testing::MadeResultTest {
protected:
    std::int64_t sumInSql(const std::vector<std::int64_t>& numbers)
    {
        std::string rows;
        for (const std::int64_t number : numbers) {
            // The least number has no literal of its own.
            rows += (rows.empty() ? "(" : "), (") + std::to_string(number / 2) + " + " +
                    std::to_string(number - number / 2);
        }
        const SqlRows answer = readRows(result(), "WITH t(x) AS (VALUES " + rows + ")) SELECT " +
                                                      sumOf("x") + " FROM t");
        EXPECT_TRUE(answer.rows[0][0].is_integer());
        return static_cast<std::int64_t>(answer.rows[0][0].integer_bits());
    }
};

constexpr std::int64_t g_most = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t g_least = std::numeric_limits<std::int64_t>::min();

TEST_F(SumOfTest, SmallNumbersAddUp)
{
    EXPECT_EQ(sumInSql({1, 2, 3}), 6);
    EXPECT_EQ(sumInSql({-1, -2, 3, -4}), -4);
}

TEST_F(SumOfTest, LargeNumbersWrap)
{
    EXPECT_EQ(sumInSql({g_most, 1}), g_least);
    EXPECT_EQ(sumInSql({g_least, -1}), g_most);
    EXPECT_EQ(sumInSql({g_most, g_most, g_most}), g_most - 2);
}

TEST_F(SumOfTest, NumbersOfAnySizeAddUpAsTheMachineAdds)
{
    std::mt19937_64 random(7);
    for (int round = 0; round < 50; ++round) {
        std::vector<std::int64_t> numbers;
        std::uint64_t want = 0;
        for (int i = 0; i < 20; ++i) {
            const std::uint64_t number = random() >> (random() % 64);
            numbers.push_back(static_cast<std::int64_t>(number));
            want += number;
        }
        EXPECT_EQ(sumInSql(numbers), static_cast<std::int64_t>(want));
    }
}

TEST(PercentTest, OfNothingThereIsNone)
{
    EXPECT_EQ(percentOf(1, 0), std::nullopt);
    EXPECT_EQ(percentText(std::nullopt), "-");
}

TEST(PercentTest, TwoDigitsBehindThePoint)
{
    EXPECT_EQ(percentText(percentOf(1, 3)), "33.33%");
    EXPECT_EQ(percentText(percentOf(5, 5)), "100.00%");
    EXPECT_EQ(percentText(percentOf(0, 5)), "0.00%");
}

} // namespace
} // namespace samplefold::report
