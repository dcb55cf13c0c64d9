#include "load/counter_rounds.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace samplefold::load {
namespace {

using Lines = std::vector<std::string>;

constexpr std::uint64_t g_start = 1000;
constexpr std::uint64_t g_second = 1'000'000'000;

class CounterRoundsTest : public ::testing::Test {
protected:
    CounterRoundsTest()
    {
        faults.attr.type = clock.attr.type = 1;
        faults.attr.config = 2;
    }
    /// Totals of the counter of page faults on no certain CPU in thread 7.
    void read(const CounterTotals& totals) { rounds.add({&faults, -1, 7}, totals); }
    /// Intervals of a round as "previous-last: count", "~" behind what was scaled up.
    Lines close(std::uint64_t time)
    {
        Lines lines;
        rounds.close(time, [&](const CountedInterval& got) {
            lines.push_back(std::to_string(got.previous) + "-" + std::to_string(got.last) + ": " +
                            std::to_string(got.count) + (got.isExtrapolated ? "~" : ""));
        });
        return lines;
    }
    std::uint64_t allDropped() const
    {
        std::uint64_t sum = 0;
        for (int reason = 0; reason < static_cast<int>(CounterDrop::Last); ++reason)
            sum += rounds.dropped(static_cast<CounterDrop>(reason));
        return sum;
    }
    void expectOnlyDrop(CounterDrop reason, std::uint64_t count)
    {
        EXPECT_EQ(rounds.dropped(reason), count);
        EXPECT_EQ(allDropped(), count);
    }

    perfdata::Event faults;
    perfdata::Event clock;
    CounterRounds rounds{g_start, 2};
};

TEST_F(CounterRoundsTest, ARoundGivesTheDifferenceToTheRoundBefore)
{
    read({5, 100, 100});
    EXPECT_EQ(close(100), Lines{"1000-1100: 5"});
    read({12, 200, 200});
    EXPECT_EQ(close(250), Lines{"1100-1250: 7"});
    EXPECT_EQ(allDropped(), 0U);
}

TEST_F(CounterRoundsTest, AFinalRoundAloneGivesOneIntervalFromTheStart)
{
    read({5, 100, 100});
    EXPECT_EQ(close(900), Lines{"1000-1900: 5"});
    EXPECT_EQ(rounds.last(), 1900U);
}

TEST_F(CounterRoundsTest, CountersOfOtherCpusThreadsAndEventsAreApart)
{
    perfdata::Event other;
    rounds.add({&faults, 0, -1}, {1, 9, 9});
    rounds.add({&faults, 1, -1}, {2, 9, 9});
    rounds.add({&faults, -1, 7}, {3, 9, 9});
    rounds.add({&other, -1, 7}, {4, 9, 9});
    EXPECT_EQ(close(10), (Lines{"1000-1010: 1", "1000-1010: 2", "1000-1010: 3", "1000-1010: 4"}));
}

TEST_F(CounterRoundsTest, ACountIsScaledByTheTimesOfItsRoundAlone)
{
    read({10, 100, 100});
    EXPECT_EQ(close(100), Lines{"1000-1100: 10"});
    read({20, 200, 125}); // a quarter of the round
    EXPECT_EQ(close(200), Lines{"1100-1200: 40~"});
}

TEST_F(CounterRoundsTest, ScalingIsExactBeyondWhatAFloatingPointNumberHolds)
{
    const std::uint64_t large = (std::uint64_t{1} << 61) + 1;
    read({large, 3, 1});
    EXPECT_EQ(close(1'000'000 * g_second), Lines{"1000-1000000000001000: 6917529027641081859~"});
}

TEST_F(CounterRoundsTest, ACounterThatDidNotRunHasNoIntervalAndNoGuess)
{
    read({10, 100, 100});
    close(100);
    read({10, 200, 100});
    EXPECT_EQ(close(200), Lines{});
    expectOnlyDrop(CounterDrop::NotRunning, 1);
    read({14, 300, 200});
    EXPECT_EQ(close(300), Lines{"1200-1300: 4"});
}

TEST_F(CounterRoundsTest, ACounterThatWasNotEnabledIsToldApart)
{
    read({0, 0, 0});
    EXPECT_EQ(close(100), Lines{});
    expectOnlyDrop(CounterDrop::NotEnabled, 1);
}

TEST_F(CounterRoundsTest, ACountWithoutAnyTimeEnabledIsNotBelieved)
{
    read({3, 0, 0});
    EXPECT_EQ(close(100), Lines{});
    expectOnlyDrop(CounterDrop::NotRunning, 1);
}

TEST_F(CounterRoundsTest, RunningForLongerThanEnabledIsNotBelieved)
{
    read({10, 100, 101});
    EXPECT_EQ(close(100), Lines{});
    expectOnlyDrop(CounterDrop::RunningBeyondEnabled, 1);
}

TEST_F(CounterRoundsTest, ACounterThatGoesDownStartsAnew)
{
    read({10, 100, 100});
    close(100);
    read({4, 200, 200});
    EXPECT_EQ(close(200), Lines{});
    expectOnlyDrop(CounterDrop::WentDown, 1);
    read({9, 300, 300});
    EXPECT_EQ(close(300), Lines{"1200-1300: 5"});
}

TEST_F(CounterRoundsTest, TimesThatGoDownAreNotBelieved)
{
    read({10, 100, 100});
    close(100);
    read({20, 99, 99});
    EXPECT_EQ(close(200), Lines{});
    expectOnlyDrop(CounterDrop::WentDown, 1);
}

TEST_F(CounterRoundsTest, OneCpuHasNoMoreTimeThanTheRound)
{
    rounds.add({&clock, 0, -1}, {g_second + g_second / 10, 1, 1});
    EXPECT_EQ(close(g_second).size(), 1U) << "a counter is read a little late";
    rounds.add({&clock, 0, -1}, {3 * g_second, 2, 2});
    EXPECT_EQ(close(2 * g_second), Lines{});
    expectOnlyDrop(CounterDrop::BeyondTime, 1);
}

TEST_F(CounterRoundsTest, TasksThatAreCountedWithTheirChildrenHaveTheTimeOfAllCpus)
{
    clock.attr.flags = perfdata::attrBit::Inherit;
    rounds.add({&clock, -1, 7}, {2 * g_second, 1, 1});
    EXPECT_EQ(close(g_second).size(), 1U);
    rounds.add({&clock, -1, 7}, {7 * g_second, 2, 2});
    EXPECT_EQ(close(2 * g_second), Lines{});
    expectOnlyDrop(CounterDrop::BeyondTime, 1);
}

TEST_F(CounterRoundsTest, AThreadAloneHasTheTimeOfOneCpu)
{
    rounds.add({&clock, -1, 7}, {2 * g_second, 1, 1});
    EXPECT_EQ(close(g_second), Lines{});
    expectOnlyDrop(CounterDrop::BeyondTime, 1);
}

TEST_F(CounterRoundsTest, CountsOfOtherEventsMayBeFarBeyondTheTime)
{
    rounds.add({&faults, 0, -1}, {100 * g_second, 1, 1});
    EXPECT_EQ(close(g_second), Lines{"1000-1000001000: 100000000000"});
}

TEST_F(CounterRoundsTest, ACountThatTheResultCannotHoldIsDropped)
{
    read({std::uint64_t{1} << 63, 100, 100});
    EXPECT_EQ(close(100), Lines{});
    expectOnlyDrop(CounterDrop::TooLarge, 1);
}

TEST_F(CounterRoundsTest, OfTwoReadingsInARoundTheLaterOneCounts)
{
    read({5, 100, 100});
    read({6, 110, 110});
    EXPECT_EQ(close(100), Lines{"1000-1100: 6"});
    expectOnlyDrop(CounterDrop::ReadTwice, 1);
}

TEST_F(CounterRoundsTest, ARoundThatDoesNotGoOnIsPartOfTheNext)
{
    read({5, 100, 100});
    close(100);
    read({8, 200, 200});
    EXPECT_EQ(close(100), Lines{});
    expectOnlyDrop(CounterDrop::RoundOutOfTime, 1);
    read({9, 300, 300});
    EXPECT_EQ(close(300), Lines{"1100-1300: 4"});
}

TEST_F(CounterRoundsTest, ARoundAtTheEndOfAllTimeIsOutOfTime)
{
    read({5, 100, 100});
    EXPECT_EQ(close(~std::uint64_t{0}), Lines{});
    expectOnlyDrop(CounterDrop::RoundOutOfTime, 1);
}

TEST_F(CounterRoundsTest, ACounterThatMissedARoundHasOneIntervalOverBoth)
{
    read({5, 100, 100});
    close(100);
    close(200);
    read({9, 300, 300});
    EXPECT_EQ(close(300), Lines{"1100-1300: 4"});
}

TEST_F(CounterRoundsTest, ValuesBehindTheLastRoundAreToldByWhetherTheyGrew)
{
    rounds.add({&faults, 0, -1}, {5, 100, 100});
    rounds.add({&faults, 1, -1}, {5, 100, 100});
    close(100);
    rounds.add({&faults, 0, -1}, {5, 100, 100});
    rounds.add({&faults, 1, -1}, {6, 110, 110});
    rounds.finish();
    EXPECT_EQ(rounds.dropped(CounterDrop::SameAfterLastRound), 1U);
    EXPECT_EQ(rounds.dropped(CounterDrop::AfterLastRound), 1U);
}

TEST_F(CounterRoundsTest, WithoutAnyRoundNothingIsKnownOfTheValues)
{
    read({0, 0, 0});
    rounds.finish();
    expectOnlyDrop(CounterDrop::AfterLastRound, 1);
}

TEST_F(CounterRoundsTest, MoreThanACounterOfTheUncoreCanCountIsRefused)
{
    perfdata::Event uncore;
    uncore.attr.type = 20;
    const CounterKey key{&uncore, 0, -1};
    // A counter of 48 bits that wrapped round within a second.
    constexpr std::uint64_t wrapped = std::uint64_t{1} << 48;
    rounds.add(key, {500 * g_second, g_second, g_second});
    EXPECT_EQ(close(g_second).size(), 1U);
    rounds.add(key, {500 * g_second + wrapped, 2 * g_second, 2 * g_second});
    EXPECT_EQ(close(2 * g_second), Lines{});
    expectOnlyDrop(CounterDrop::BeyondCounter, 1);
    rounds.add(key, {500 * g_second + wrapped + 7, 3 * g_second, 3 * g_second});
    EXPECT_EQ(close(3 * g_second).size(), 1U) << "the next difference is taken to it";
}

TEST_F(CounterRoundsTest, MoreThanACounterOfACoreCanCountIsRefused)
{
    constexpr std::uint64_t tooMany = std::uint64_t{1} << 60;
    const perfdata::Event cycles; // of type 0, hardware
    rounds.add({&cycles, 0, -1}, {tooMany, g_second, g_second});
    rounds.add({&faults, -1, 7}, {tooMany, g_second, g_second});
    EXPECT_EQ(close(g_second), Lines{});
    expectOnlyDrop(CounterDrop::BeyondCounter, 2);
}

TEST_F(CounterRoundsTest, ACountOfAllCpusIsBoundForEach)
{
    const perfdata::Event cycles;
    const CounterKey all{&cycles, -1, -1};
    rounds.add({&cycles, 1, -1}, {20'000 * g_second, g_second, g_second});
    rounds.add(all, {20'000 * g_second, g_second, g_second});
    EXPECT_EQ(close(g_second), Lines{"1000-1000001000: 20000000000000"}) << "that of two CPUs";
    expectOnlyDrop(CounterDrop::BeyondCounter, 1);

    CounterRounds unknown(g_start, 0);
    unknown.add(all, {std::uint64_t{1} << 60, g_second, g_second});
    int taken = 0;
    unknown.close(g_second, [&](const CountedInterval&) { ++taken; });
    EXPECT_EQ(taken, 1) << "nobody knows how many CPUs there were";
}

TEST_F(CounterRoundsTest, EnergyOfAMachineUnderLoadIsBelieved)
{
    perfdata::Event energy;
    energy.attr.type = 30;
    constexpr std::uint64_t joule = std::uint64_t{1} << 32;
    rounds.add({&energy, 0, -1}, {1000 * joule, g_second, g_second});
    EXPECT_EQ(close(g_second), Lines{"1000-1000001000: 4294967296000"});
}

TEST_F(CounterRoundsTest, TracepointsMayAddUpAnything)
{
    perfdata::Event slept;
    slept.attr.type = 2;
    constexpr std::uint64_t day = 86'400 * g_second;
    rounds.add({&slept, 0, -1}, {day, g_second, g_second});
    EXPECT_EQ(close(g_second), Lines{"1000-1000001000: 86400000000000"});
}

TEST_F(CounterRoundsTest, WhatIsRefusedIsToldWithItsCounter)
{
    Lines told;
    rounds.onRefusal([&](const CounterKey& key, CounterDrop reason) {
        told.push_back(std::to_string(key.thread) +
                       (isImplausible(reason) ? " false" : " nothing"));
    });
    read({5, 100, 100});
    close(100);
    read({4, 200, 200});
    close(200);
    read({4, 200, 200});
    close(300);
    read({4, 200, 200});
    rounds.finish();
    EXPECT_EQ(told, (Lines{"7 false", "7 nothing", "7 nothing"}));
}

} // namespace
} // namespace samplefold::load
