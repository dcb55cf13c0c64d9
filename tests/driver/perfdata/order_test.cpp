// The order of delivery.

#include "driver/perfdata/test_recording.h"
#include "perfdata/record_sorter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <thread>

namespace samplefold::perfdata {
namespace {

using testing::AttrSpec;
using testing::Bytes;
using testing::Delivered;
using testing::open;
using testing::PerfFileBuilder;
using testing::plainComm;
using testing::plainEvent;
using testing::plainSample;
using testing::record;
using testing::RecordedSink;

std::vector<std::uint64_t> timesOf(const std::vector<Sample>& samples)
{
    std::vector<std::uint64_t> times;
    times.reserve(samples.size());
    for (const Sample& sample : samples)
        times.push_back(sample.time);
    return times;
}

/// A pipe of samples with these times; the address is the number of the sample.
Bytes samplesAt(const std::vector<std::uint64_t>& times)
{
    PerfFileBuilder builder;
    builder.event(plainEvent());
    for (std::size_t index = 0; index < times.size(); ++index)
        builder.add(9, plainSample(times[index], index));
    return builder.pipe();
}

/// Numbers of the samples in the order in which they must come.
std::vector<std::uint64_t> expectedOrder(const std::vector<std::uint64_t>& times)
{
    std::vector<std::uint64_t> order(times.size());
    for (std::size_t index = 0; index < order.size(); ++index)
        order[index] = index;
    std::stable_sort(order.begin(), order.end(),
                     [&](std::uint64_t a, std::uint64_t b) { return times[a] < times[b]; });
    return order;
}

std::vector<std::uint64_t> deliveredOrder(const Delivered& got)
{
    std::vector<std::uint64_t> order;
    for (const Sample& sample : got.sink.samples)
        order.push_back(sample.ip);
    return order;
}

TEST(Order, DeliversRecordsInTimeOrderWithTiesInFileOrder)
{
    const std::vector<std::uint64_t> times = {30, 10, 20, 10, 40, 20, 10};
    const Delivered got(samplesAt(times));
    EXPECT_EQ(timesOf(got.sink.samples), (std::vector<std::uint64_t>{10, 10, 10, 20, 20, 30, 40}));
    EXPECT_EQ(deliveredOrder(got), (std::vector<std::uint64_t>{1, 3, 6, 2, 5, 0, 4}));
}

TEST(Order, OrdersSamplesAndSideBandTogether)
{
    PerfFileBuilder builder;
    builder.event(plainEvent())
        .add(9, plainSample(20))
        .add(3, plainComm(10))
        .add(9, plainSample(5));
    const Delivered got(builder.file());
    const std::uint64_t start = builder.recordsOffset();
    EXPECT_EQ(got.sink.order, (std::vector<std::uint64_t>{start + 40 + 40, start + 40, start}));
}

TEST(Order, RecordsWithoutTimeComeWhenTheyAreMet)
{
    PerfFileBuilder builder;
    builder.event(plainEvent())
        .add(9, plainSample(20))
        .add(3, plainComm(0))
        .add(9, plainSample(10));
    const Delivered got(builder.file());
    EXPECT_EQ(got.sink.order.front(), builder.recordsOffset() + 40);
    EXPECT_EQ(got.stats.untimed, 1u);
    EXPECT_EQ(got.sink.comms.at(0).time, 0u);
}

TEST(Order, WithoutAnyTimeTheFileOrderHolds)
{
    AttrSpec spec;
    spec.sampleType = sampleBit::Ip;
    PerfFileBuilder builder;
    builder.event(spec);
    for (std::uint64_t ip : {5, 3, 4})
        builder.add(9, Bytes().u64(ip));
    const Delivered got(builder.file());
    EXPECT_EQ(deliveredOrder(got), (std::vector<std::uint64_t>{5, 3, 4}));
    EXPECT_EQ(got.stats.untimed, 3u);
    EXPECT_FALSE(got.recording.timeRange().has_value());
}

/// Enough samples for several of the reader's blocks.
constexpr std::size_t manySamples = 150'000;

TEST(Order, HoldsAcrossBlocksForEveryKindOfDisorder)
{
    std::mt19937_64 random(17);
    const std::uint64_t spreads[] = {1, 3, 1000, 40'000, 200'000};
    for (const std::uint64_t spread : spreads) {
        std::vector<std::uint64_t> times(manySamples);
        for (std::size_t index = 0; index < times.size(); ++index)
            times[index] = 1 + index / 2 + random() % spread;
        const Delivered got(samplesAt(times));
        ASSERT_EQ(deliveredOrder(got), expectedOrder(times)) << "spread " << spread;
    }
}

TEST(Order, HoldsForBuffersOfManyCpusWrittenInTurns)
{
    std::vector<std::uint64_t> times;
    constexpr std::size_t cpus = 16;
    constexpr std::size_t perTurn = 700;
    for (std::size_t turn = 0; times.size() < manySamples; ++turn)
        for (std::size_t cpu = 0; cpu < cpus; ++cpu)
            for (std::size_t index = 0; index < perTurn; ++index)
                times.push_back(1 + (turn * perTurn + index) * cpus + cpu);
    const Delivered got(samplesAt(times));
    EXPECT_EQ(deliveredOrder(got), expectedOrder(times));
    EXPECT_LT(got.stats.mostPending, 60'000u) << "two turns and a block at most";
}

TEST(Order, HoldsWhenTheLastRecordIsTheFirst)
{
    std::vector<std::uint64_t> times(manySamples);
    for (std::size_t index = 0; index < times.size(); ++index)
        times[index] = 10 + index;
    times.back() = 1;
    const Delivered got(samplesAt(times));
    EXPECT_EQ(deliveredOrder(got), expectedOrder(times));
    EXPECT_EQ(got.stats.mostPending, manySamples);
}

TEST(Order, HoldsNothingBackWhenTheRecordsAreInOrder)
{
    std::vector<std::uint64_t> times(manySamples);
    for (std::size_t index = 0; index < times.size(); ++index)
        times[index] = 1 + index / 3;
    const Delivered got(samplesAt(times));
    EXPECT_EQ(deliveredOrder(got), expectedOrder(times));
    EXPECT_EQ(got.stats.mostPending, 0u);
}

TEST(Order, IsTheSameInEveryDelivery)
{
    const std::vector<std::uint64_t> times = {3, 1, 2, 1};
    const Bytes bytes = samplesAt(times);
    const Recording recording = open(bytes);
    for (int pass = 0; pass < 3; ++pass) {
        RecordedSink sink;
        recording.deliver(sink);
        EXPECT_EQ(timesOf(sink.samples), (std::vector<std::uint64_t>{1, 1, 2, 3}));
    }
}

TEST(Order, IsTheSameForDeliveriesAtTheSameTime)
{
    std::vector<std::uint64_t> times(manySamples);
    for (std::size_t index = 0; index < times.size(); ++index)
        times[index] = 1 + (index ^ 5);
    const Bytes bytes = samplesAt(times);
    const Recording recording = open(bytes);
    RecordedSink first;
    RecordedSink second;
    std::thread other([&] { recording.deliver(second); });
    recording.deliver(first);
    other.join();
    EXPECT_EQ(first.order, second.order);
    EXPECT_EQ(first.samples.size(), manySamples);
    EXPECT_TRUE(std::is_sorted(first.samples.begin(), first.samples.end(),
                               [](const Sample& a, const Sample& b) { return a.time < b.time; }));
}

TEST(Order, EventsDefinedAfterTheirRecordsCountAllTheSame)
{
    PerfFileBuilder builder;
    builder.event(plainEvent()).add(9, plainSample(20, 1)).add(9, plainSample(10, 2));
    Bytes late; // the records first, then the event
    late.chars("PERFILE2").u64(16).append(builder.records());
    late.append(record(64, PerfFileBuilder::attrWithIds(plainEvent())));
    const Delivered got(late);
    EXPECT_EQ(deliveredOrder(got), (std::vector<std::uint64_t>{2, 1}));
    EXPECT_EQ(got.recording.timeRange(), std::pair(std::uint64_t{10}, std::uint64_t{20}));
}

TEST(RecordSorter, GivesWhatASortOfAllWouldGive)
{
    std::mt19937_64 random(5);
    for (int round = 0; round < 200; ++round) {
        RecordSorter sorter;
        std::vector<TimedRecord> all;
        std::vector<TimedRecord> given;
        std::vector<TimedRecord> scratch;
        const auto give = [&](const TimedRecord& record) { given.push_back(record); };
        std::uint64_t position = 0;
        std::uint64_t floor = 0; // nothing below it comes any more
        for (int run = 0; run < 30; ++run) {
            std::vector<TimedRecord> fresh(random() % 50);
            for (TimedRecord& record : fresh)
                record = {floor + random() % 40, position++};
            all.insert(all.end(), fresh.begin(), fresh.end());
            sortByTime(fresh, scratch);
            sorter.addRun(fresh);
            const std::uint64_t limit = floor + random() % 10;
            sorter.giveUpTo(limit, give);
            ASSERT_TRUE(given.empty() || given.back().time <= limit);
            floor = limit;
            ASSERT_EQ(sorter.pending() + given.size(), all.size());
        }
        sorter.giveUpTo(UINT64_MAX, give);
        std::stable_sort(all.begin(), all.end(), [](const TimedRecord& a, const TimedRecord& b) {
            return a.time < b.time;
        });
        ASSERT_EQ(given.size(), all.size());
        for (std::size_t index = 0; index < all.size(); ++index)
            ASSERT_EQ(given[index].position, all[index].position)
                << "round " << round << " record " << index;
    }
}

} // namespace
} // namespace samplefold::perfdata
