#include "session/load_clock.h"

#include "driver/perfdata/perf_file_builder.h"

#include <gtest/gtest.h>

namespace samplefold::session {
namespace {

using perfdata::Recording;
using perfdata::testing::AttrSpec;
using perfdata::testing::Bytes;
using perfdata::testing::PerfFileBuilder;

constexpr std::uint32_t g_sampleRecord = 9;

/// Out of line, since g++ 12 takes an empty optional for one that is not initialized, under
/// sanitizers.
[[gnu::noinline]] std::optional<std::uint64_t> noTime()
{
    return std::nullopt;
}

/// The bytes of a recording with two samples, with or without times.
Bytes twoSamples(bool withTimes)
{
    AttrSpec event;
    event.sampleType = perfdata::sampleBit::Ip | perfdata::sampleBit::Tid;
    if (withTimes) event.sampleType |= perfdata::sampleBit::Time;
    PerfFileBuilder file;
    file.event(event);
    for (const std::uint64_t time : {500, 600}) {
        Bytes body;
        body.u64(0x1000).u32(1).u32(1);
        if (withTimes) body.u64(time);
        file.add(g_sampleRecord, body);
    }
    return file.file();
}

TEST(LoadClockTest, TicksAreTheTimesOfTheRecording)
{
    const Bytes bytes = twoSamples(true);
    LoadClock clock(Recording::fromBytes(bytes.span(), "test"));
    EXPECT_FALSE(clock.isNumbered());
    EXPECT_EQ(clock.sampleTick(500), 500U);
    EXPECT_EQ(clock.sampleTick(600), 600U);
    EXPECT_EQ(clock.sampleTick(550), 550U) << "also of one that comes late";
    EXPECT_EQ(clock.recordTick(570), 570U);
}

TEST(LoadClockTest, ASampleWithoutATimeTakesTheLatestTick)
{
    const Bytes bytes = twoSamples(true);
    LoadClock clock(Recording::fromBytes(bytes.span(), "test"));
    EXPECT_EQ(clock.sampleTick(0), 1U) << "a tick is never 0";
    clock.sampleTick(600);
    clock.sampleTick(500);
    EXPECT_EQ(clock.sampleTick(0), 600U);
}

TEST(LoadClockTest, ARecordWithoutATimeStandsBeforeEverything)
{
    const Bytes bytes = twoSamples(true);
    LoadClock clock(Recording::fromBytes(bytes.span(), "test"));
    clock.sampleTick(500);
    EXPECT_EQ(clock.recordTick(noTime()), 0U);
    EXPECT_EQ(clock.recordTick(0), 0U);
}

TEST(LoadClockTest, WithoutTimesTicksNumberTheSamplesFromOne)
{
    const Bytes bytes = twoSamples(false);
    LoadClock clock(Recording::fromBytes(bytes.span(), "test"));
    EXPECT_TRUE(clock.isNumbered());
    EXPECT_EQ(clock.recordTick(noTime()), 1U) << "a record takes the tick of the next sample";
    EXPECT_EQ(clock.sampleTick(0), 1U);
    EXPECT_EQ(clock.sampleTick(0), 2U);
    EXPECT_EQ(clock.recordTick(noTime()), 3U);
    EXPECT_EQ(clock.sampleTick(0), 3U);
}

} // namespace
} // namespace samplefold::session
