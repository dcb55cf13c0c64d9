#include "report/tick_bins.h"

#include <gtest/gtest.h>

#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace samplefold::report {
namespace {

using Amounts = std::vector<long double>;

constexpr std::uint64_t g_lastOfAll = std::numeric_limits<std::uint64_t>::max();

Amounts spread(const TickBins& bins, std::uint64_t start, std::uint64_t end, long double amount)
{
    Amounts amounts(bins.count());
    bins.add(start, end, amount, amounts);
    return amounts;
}

TEST(TickBinsTest, AnIntervalIsSharedOutByItsTicks)
{
    // Bins 0-9, 10-19, 20-29; ticks 5 to 24 are 5, 10 and 5 of them.
    EXPECT_EQ(spread({0, 29, 3}, 5, 24, 20), (Amounts{5, 10, 5}));
    EXPECT_EQ(spread({100, 129, 3}, 110, 119, 7), (Amounts{0, 7, 0}));
    EXPECT_EQ(spread({0, 29, 3}, 9, 9, 1), (Amounts{1, 0, 0}));
}

TEST(TickBinsTest, WhatLiesOutsideIsLeftOut)
{
    EXPECT_EQ(spread({10, 29, 2}, 0, 39, 40), (Amounts{10, 10}));
    EXPECT_EQ(spread({10, 29, 2}, 0, 9, 40), (Amounts{0, 0}));
    EXPECT_EQ(spread({10, 29, 2}, 30, 39, 40), (Amounts{0, 0}));
    EXPECT_EQ((TickBins{10, 29, 2}.shareOf(0, 39)), 0.5L);
    EXPECT_EQ((TickBins{10, 29, 2}.shareOf(30, 39)), 0.0L);
}

TEST(TickBinsTest, ATickOnABorderBelongsToBothBinsInPart)
{
    EXPECT_EQ(spread({0, 2, 2}, 1, 1, 1), (Amounts{0.5L, 0.5L}));
    EXPECT_EQ(spread({7, 7, 4}, 7, 7, 4), (Amounts{1, 1, 1, 1})) << "more bins than ticks";
    EXPECT_DOUBLE_EQ((TickBins{0, 2, 2}.ticksPerBin()), 1.5);
}

TEST(TickBinsTest, AllTicksThatThereAreFit)
{
    const Amounts halves = spread({0, g_lastOfAll, 2}, 0, g_lastOfAll, 8);
    EXPECT_EQ(halves, (Amounts{4, 4}));
    const Amounts many = spread({0, g_lastOfAll, 10000}, 0, g_lastOfAll, 10000);
    EXPECT_NEAR(static_cast<double>(many.front()), 1.0, 1e-9);
    EXPECT_NEAR(static_cast<double>(many.back()), 1.0, 1e-9);
}

/// Against counting tick by tick, each cut into as many parts as there are bins.
TEST(TickBinsTest, RandomIntervalsAreSharedOutAsCountedByHand)
{
    std::mt19937_64 random(7);
    for (int round = 0; round < 300; ++round) {
        const std::uint64_t first = random() % 50;
        const std::uint64_t length = random() % 40 + 1;
        const std::size_t count = random() % 12 + 1;
        const std::uint64_t start = random() % 90;
        const std::uint64_t end = start + random() % 30;
        std::vector<std::uint64_t> parts(count);
        std::uint64_t inside = 0;
        for (std::uint64_t tick = start; tick <= end; ++tick) {
            if (tick < first || tick >= first + length) continue;
            for (std::size_t part = 0; part < count; ++part)
                ++parts[((tick - first) * count + part) / length];
            ++inside;
        }
        const TickBins bins(first, first + length - 1, count);
        const auto ticks = static_cast<long double>(end - start + 1);
        const Amounts amounts = spread(bins, start, end, ticks);
        for (std::size_t bin = 0; bin < count; ++bin) {
            const auto expected = static_cast<double>(parts[bin]) / static_cast<double>(count);
            EXPECT_NEAR(static_cast<double>(amounts[bin]), expected, 1e-12);
        }
        EXPECT_NEAR(static_cast<double>(bins.shareOf(start, end) * ticks),
                    static_cast<double>(inside), 1e-12);
    }
}

} // namespace
} // namespace samplefold::report
