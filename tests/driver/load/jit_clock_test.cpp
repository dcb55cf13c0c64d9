#include "load/jit_clock.h"

#include "driver/session/side_band_records.h"

#include <gtest/gtest.h>

#include <ctime>
#include <limits>
#include <random>

namespace samplefold::load {
namespace {

using jitlens_3_13::source_t;
using session::TscScale;
using clock_kind_t = jitlens_3_13::clock_t;

constexpr std::uint64_t g_second = 1'000'000'000;
constexpr std::uint64_t g_never = std::numeric_limits<std::uint64_t>::max();

class JitClockTest : public ::testing::Test, protected session::testing::SideBandRecords {
protected:
    enum class Clock { own, monotonic, realtime };

    /// A recording of samples from tick 100 s to 200 s.
    JitClock clockOf(Clock kind, const std::optional<TscScale>& scale = std::nullopt)
    {
        if (file().records().size() == 0) {
            sample(100 * g_second);
            sample(200 * g_second);
        }
        perfdata::testing::AttrSpec spec = event();
        if (kind != Clock::own) spec.flags |= perfdata::attrBit::UseClockid;
        m_bytes = perfdata::testing::PerfFileBuilder(file()).event(spec).file();
        const std::uint32_t id = kind == Clock::monotonic ? CLOCK_MONOTONIC : CLOCK_REALTIME;
        if (kind != Clock::own)
            m_bytes.overwrite(perfdata::testing::PerfFileBuilder::headSize + 92, id);
        return {perfdata::Recording::fromBytes(m_bytes.span(), "test"), scale};
    }
    static source_t source(clock_kind_t clock, std::uint64_t first = 150 * g_second,
                           std::uint64_t last = 160 * g_second)
    {
        source_t source;
        source.clock = clock;
        source.firstTime = first;
        source.lastTime = last;
        return source;
    }

    std::string reason;

private:
    Bytes m_bytes;
};

TEST_F(JitClockTest, MonotonicTimesAreThoseOfAMonotonicRecording)
{
    JitClock clock = clockOf(Clock::monotonic);
    EXPECT_TRUE(clock.accept(source(clock_kind_t::monotonic, 1, 2), reason)) << "wherever they lie";
    EXPECT_EQ(reason, "");
    EXPECT_EQ(clock.toSampleTime(123), 123U);
    EXPECT_EQ(clock.toJitTime(123), 123U);
    EXPECT_EQ(clock.toJitTime(0), 1U) << "0 would ask for code without times";
    EXPECT_EQ(clock.toSampleTime(g_never), g_never);
}

TEST_F(JitClockTest, TimesOfALaterRunAreRefused)
{
    JitClock clock = clockOf(Clock::monotonic);
    EXPECT_FALSE(
        clock.accept(source(clock_kind_t::monotonic, 200 * g_second + 1, g_never), reason));
    EXPECT_NE(reason, "");
    EXPECT_TRUE(clock.accept(source(clock_kind_t::monotonic, 200 * g_second, g_never), reason));
}

TEST_F(JitClockTest, MonotonicTimesAreTakenOnTrustForTheKernelsOwnClockWhereTheyMeet)
{
    JitClock clock = clockOf(Clock::own);
    EXPECT_TRUE(clock.accept(source(clock_kind_t::monotonic), reason));
    EXPECT_NE(reason, "");
}

TEST_F(JitClockTest, MonotonicTimesFarFromTheSamplesAreRefused)
{
    JitClock clock = clockOf(Clock::own);
    EXPECT_FALSE(clock.accept(source(clock_kind_t::monotonic, 0, 98 * g_second), reason));
    EXPECT_NE(reason, "");
    EXPECT_FALSE(
        clock.accept(source(clock_kind_t::monotonic, 202 * g_second, 300 * g_second), reason));
    EXPECT_TRUE(clock.accept(source(clock_kind_t::monotonic, 0, 100 * g_second), reason));
    EXPECT_TRUE(
        clock.accept(source(clock_kind_t::monotonic, 200 * g_second, 300 * g_second), reason));
}

TEST_F(JitClockTest, ASourceThatReachesToTheEndOfTimeMeetsTheSamples)
{
    JitClock clock = clockOf(Clock::own);
    EXPECT_TRUE(clock.accept(source(clock_kind_t::monotonic, 150 * g_second, g_never), reason));
}

TEST_F(JitClockTest, TimeStampsNeedAScaleAndTheKernelsOwnClock)
{
    EXPECT_FALSE(clockOf(Clock::own).accept(source(clock_kind_t::tsc), reason));
    EXPECT_NE(reason, "");
    const TscScale scale{10, 1024, 0};
    EXPECT_FALSE(clockOf(Clock::monotonic, scale).accept(source(clock_kind_t::tsc), reason))
        << "the scale leads to the kernel's own clock";
    EXPECT_TRUE(clockOf(Clock::own, scale).accept(source(clock_kind_t::tsc), reason));
    EXPECT_EQ(reason, "");
}

TEST_F(JitClockTest, SourcesOfTwoClocksDoNotGoTogether)
{
    JitClock clock = clockOf(Clock::own, TscScale{10, 1024, 0});
    EXPECT_TRUE(clock.accept(source(clock_kind_t::tsc), reason));
    EXPECT_FALSE(clock.accept(source(clock_kind_t::monotonic), reason));
    EXPECT_NE(reason, "");
    EXPECT_TRUE(clock.accept(source(clock_kind_t::tsc), reason)) << "the first sets the clock";
    EXPECT_EQ(reason, "");
}

TEST_F(JitClockTest, ARefusedSourceDoesNotSetTheClock)
{
    JitClock clock = clockOf(Clock::own);
    EXPECT_FALSE(clock.accept(source(clock_kind_t::tsc), reason));
    EXPECT_TRUE(clock.accept(source(clock_kind_t::monotonic), reason));
}

TEST_F(JitClockTest, ASourceWithoutTimesAlwaysFits)
{
    JitClock clock = clockOf(Clock::realtime);
    EXPECT_TRUE(clock.accept(source(clock_kind_t::none), reason));
    EXPECT_EQ(reason, "");
}

TEST_F(JitClockTest, ARecordingWithoutTimesTakesNoTimes)
{
    setTimes(false);
    JitClock clock = clockOf(Clock::monotonic);
    EXPECT_FALSE(clock.accept(source(clock_kind_t::monotonic), reason));
    EXPECT_NE(reason, "");
    EXPECT_TRUE(clock.accept(source(clock_kind_t::none), reason));
}

class TscTest : public JitClockTest {
protected:
    JitClock tscClock(const TscScale& scale)
    {
        JitClock clock = clockOf(Clock::own, scale);
        EXPECT_TRUE(clock.accept(source(clock_kind_t::tsc), reason));
        return clock;
    }
};

/// 3 time stamps per nanosecond, 16 bits of fraction, as a processor of 3 GHz has it.
TEST_F(TscTest, TimeStampsAreScaledAndShifted)
{
    JitClock clock = tscClock({16, 21845, 1000});
    EXPECT_NEAR(static_cast<double>(clock.toSampleTime(3'000'000)), 1'001'000.0, 20.0);
    EXPECT_NEAR(static_cast<double>(clock.toJitTime(1'001'000)), 3'000'000.0, 60.0);
    EXPECT_EQ(clock.toJitTime(1000), 1U) << "at the zero";
    EXPECT_EQ(clock.toJitTime(1), 1U) << "before the zero";
}

/// The kernel's clock counts from its start, time stamps from the machine's: the offset between
/// them is negative, as a word of 64 bits tells it.
TEST_F(TscTest, TheZeroMayBeNegative)
{
    JitClock clock = tscClock({1, 1, 0 - std::uint64_t{500}});
    EXPECT_EQ(clock.toSampleTime(3000), 1000U);
    EXPECT_EQ(clock.toJitTime(1000), 3000U);
    EXPECT_EQ(clock.toSampleTime(10), 1U) << "before the kernel's clock began";
}

TEST_F(TscTest, NoTimeAndNoEndStayWhatTheyAre)
{
    JitClock clock = tscClock({16, 21845, 1000});
    EXPECT_EQ(clock.toSampleTime(0), 0U) << "code without times is there from the beginning";
    EXPECT_EQ(clock.toSampleTime(g_never), g_never);
}

TEST_F(TscTest, ExtremesEndAtTheBordersAndAreNeverZero)
{
    for (const TscScale& scale : {TscScale{0, g_never, g_never >> 1}, TscScale{63, 1, 0},
                                  TscScale{0, 1, 0}, TscScale{63, g_never, g_never >> 1}}) {
        JitClock clock = tscClock(scale);
        std::uint64_t lastSample = 0;
        std::uint64_t lastJit = 0;
        for (const std::uint64_t time :
             {std::uint64_t{1}, std::uint64_t{2}, g_never >> 1, g_never - 1, g_never}) {
            EXPECT_GE(clock.toSampleTime(time), std::max<std::uint64_t>(lastSample, 1)) << time;
            EXPECT_GE(clock.toJitTime(time), std::max<std::uint64_t>(lastJit, 1)) << time;
            lastSample = clock.toSampleTime(time);
            lastJit = clock.toJitTime(time);
        }
    }
    EXPECT_EQ(tscClock({0, g_never, 0}).toSampleTime(2), g_never) << "it does not wrap";
    EXPECT_EQ(tscClock({63, 1, 0}).toJitTime(2), g_never);
}

/// There and back ends at most one unit of the coarser clock away.
TEST_F(TscTest, ThereAndBackIsTheSameTimeButForRounding)
{
    std::mt19937_64 random(7);
    for (int i = 0; i < 2000; ++i) {
        const std::uint64_t shift = 20 + random() % 12;
        const std::uint64_t mult = 1 + random() % (std::uint64_t{4} << shift);
        const std::uint64_t zero =
            random() % 3 == 0 ? 0 - random() % g_second : random() % g_second;
        JitClock clock = tscClock({shift, mult, zero});
        const auto perTick =
            static_cast<long double>(mult) / static_cast<long double>(std::uint64_t{1} << shift);
        // Times of any size at which neither clock is at its border.
        const std::uint64_t jit = 4 * g_second + (random() >> (4 + random() % 30));
        const std::uint64_t there = clock.toSampleTime(jit);
        if (there <= 1 || there == g_never) continue;
        const long double apart = std::abs(static_cast<long double>(clock.toJitTime(there)) -
                                           static_cast<long double>(jit));
        EXPECT_LE(apart, std::max(1.0L, 1 / perTick) + 1) << jit << " by " << mult << "/" << shift;
    }
}

} // namespace
} // namespace samplefold::load
