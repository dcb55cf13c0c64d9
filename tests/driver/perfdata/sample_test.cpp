// Decoding of samples, field by field.

#include "driver/perfdata/test_recording.h"

#include <gtest/gtest.h>

namespace samplefold::perfdata {
namespace {

using testing::AttrSpec;
using testing::Bytes;
using testing::Delivered;
using testing::PerfFileBuilder;
using testing::plainEvent;
using testing::plainSample;

/// Delivers one sample of an event with this attribute; the body is the sample's.
Delivered deliverSample(const AttrSpec& spec, const Bytes& body, std::uint16_t misc = 0)
{
    return Delivered(PerfFileBuilder().event(spec).add(9, body, misc).file());
}

AttrSpec eventOf(std::uint64_t sampleType)
{
    AttrSpec spec;
    spec.sampleType = sampleType;
    return spec;
}

std::vector<std::uint64_t> toVector(const PackedSpan<std::uint64_t>& span)
{
    return {span.begin(), span.end()};
}

TEST(Sample, DecodesTheFieldsOfFixedSizeInTheKernelsOrder)
{
    Bytes body;
    body.u64(91)
        .u64(0x401000)
        .u32(7)
        .u32(8)
        .u64(1234)
        .u64(0xadd7)
        .u64(91)
        .u64(92)
        .u32(3)
        .u32(0)
        .u64(55);
    const Delivered got =
        deliverSample(eventOf(sampleBit::Identifier | sampleBit::Ip | sampleBit::Tid |
                              sampleBit::Time | sampleBit::Addr | sampleBit::Id |
                              sampleBit::StreamId | sampleBit::Cpu | sampleBit::Period),
                      body);
    ASSERT_EQ(got.sink.samples.size(), 1u);
    const Sample& sample = got.sink.samples[0];
    EXPECT_EQ(sample.id, 91u);
    EXPECT_EQ(sample.ip, 0x401000u);
    EXPECT_EQ(sample.pid, 7);
    EXPECT_EQ(sample.tid, 8);
    EXPECT_EQ(sample.time, 1234u);
    EXPECT_EQ(sample.addr, 0xadd7u);
    EXPECT_EQ(sample.streamId, 92u);
    EXPECT_EQ(sample.cpu, 3u);
    EXPECT_EQ(sample.period, 55u);
    EXPECT_EQ(sample.event->index, 0u);
    EXPECT_EQ(sample.offset, PerfFileBuilder().event({}).recordsOffset());
    EXPECT_TRUE(sample.hasCpu() && sample.hasTime() && sample.hasPeriod() && sample.hasTid() &&
                sample.hasIp());
}

TEST(Sample, TellsMissingFieldsFromZero)
{
    const Delivered got = deliverSample(eventOf(sampleBit::Ip), Bytes().u64(0x1000));
    const Sample& sample = got.sink.samples.at(0);
    EXPECT_FALSE(sample.hasTime());
    EXPECT_FALSE(sample.hasCpu());
    EXPECT_FALSE(sample.hasPeriod());
    EXPECT_FALSE(sample.hasTid());
    EXPECT_EQ(sample.pid, -1);
}

TEST(Sample, TakesTheFixedPeriodOfItsEventWhenItHasNone)
{
    AttrSpec spec = eventOf(sampleBit::Ip);
    spec.periodOrFreq = 100003;
    EXPECT_EQ(deliverSample(spec, Bytes().u64(1)).sink.samples.at(0).period, 100003u);
    spec.flags = attrBit::Freq;
    EXPECT_EQ(deliverSample(spec, Bytes().u64(1)).sink.samples.at(0).period, 0u);
}

TEST(Sample, KeepsNegativeTaskNumbers)
{
    const Delivered got =
        deliverSample(eventOf(sampleBit::Tid), Bytes().put(std::int32_t{-1}).put(std::int32_t{-1}));
    EXPECT_EQ(got.sink.samples.at(0).pid, -1);
    EXPECT_EQ(got.sink.samples.at(0).tid, -1);
}

TEST(Sample, TellsModeAndExactnessFromTheMiscField)
{
    const Delivered kernel = deliverSample(eventOf(sampleBit::Ip), Bytes().u64(1), 1);
    EXPECT_EQ(kernel.sink.samples.at(0).cpuMode(), CpuMode::Kernel);
    EXPECT_FALSE(kernel.sink.samples.at(0).ipIsExact());
    const Delivered exact = deliverSample(eventOf(sampleBit::Ip), Bytes().u64(1), 2 | 1 << 14);
    EXPECT_EQ(exact.sink.samples.at(0).cpuMode(), CpuMode::User);
    EXPECT_TRUE(exact.sink.samples.at(0).ipIsExact());
}

TEST(Sample, ReadsASingleCounterWithTimesIdAndLost)
{
    AttrSpec spec = eventOf(sampleBit::Read | sampleBit::DataSrc);
    spec.readFormat = readBit::TimeEnabled | readBit::TimeRunning | readBit::Id | readBit::Lost;
    const Delivered got = deliverSample(spec, Bytes().words({1000, 20, 10, 7, 3, 0xd5}));
    const Sample& sample = got.sink.samples.at(0);
    ASSERT_EQ(sample.read.size(), 1u);
    EXPECT_FALSE(sample.read.isGroup());
    EXPECT_EQ(sample.read.timeEnabled, 20u);
    EXPECT_EQ(sample.read.timeRunning, 10u);
    EXPECT_EQ(sample.read[0].value, 1000u);
    EXPECT_EQ(sample.read[0].id, 7u);
    EXPECT_EQ(sample.read[0].lost, 3u);
    EXPECT_EQ(sample.dataSrc, 0xd5u);
}

TEST(Sample, ReadsAGroupOfCountersInEachFormat)
{
    AttrSpec spec = eventOf(sampleBit::Read);
    spec.readFormat = readBit::Group | readBit::Id | readBit::TimeRunning;
    const Delivered withIds = deliverSample(spec, Bytes().words({2, 99, 500, 1, 600, 2}));
    const ReadValues& read = withIds.sink.samples.at(0).read;
    ASSERT_EQ(read.size(), 2u);
    EXPECT_TRUE(read.isGroup());
    EXPECT_EQ(read.timeEnabled, 0u);
    EXPECT_EQ(read.timeRunning, 99u);
    EXPECT_EQ(read[1].value, 600u);
    EXPECT_EQ(read[1].id, 2u);
    spec.readFormat = readBit::Group | readBit::Lost;
    const Delivered withLost = deliverSample(spec, Bytes().words({2, 500, 4, 600, 5}));
    EXPECT_EQ(withLost.sink.samples.at(0).read[1].value, 600u);
    EXPECT_EQ(withLost.sink.samples.at(0).read[1].lost, 5u);
    EXPECT_EQ(withLost.sink.samples.at(0).read[1].id, 0u);
}

TEST(Sample, KeepsCallChainsWithTheirMarkers)
{
    const Delivered got =
        deliverSample(eventOf(sampleBit::Callchain), Bytes().words({3, context::User, 0x10, 0x20}));
    EXPECT_EQ(toVector(got.sink.samples.at(0).callchain),
              (std::vector<std::uint64_t>{context::User, 0x10, 0x20}));
    EXPECT_TRUE(context::isMarker(context::GuestUser));
    EXPECT_TRUE(context::isMarker(static_cast<std::uint64_t>(-4095)));
    EXPECT_FALSE(context::isMarker(static_cast<std::uint64_t>(-4096)));
}

TEST(Sample, DecodesRawDataAtAnUnalignedSize)
{
    const Delivered got = deliverSample(eventOf(sampleBit::Raw | sampleBit::Transaction),
                                        Bytes().u32(5).chars("abcde").u64(0x77));
    const Sample& sample = got.sink.samples.at(0);
    ASSERT_EQ(sample.raw.size(), 5u);
    EXPECT_EQ(std::memcmp(sample.raw.data(), "abcde", 5), 0);
    EXPECT_EQ(sample.transaction, 0x77u);
}

/// mispredicted, in transaction, 300 cycles, type 4, speculation 2, extended type 9, privilege 5
constexpr std::uint64_t branchFlags =
    1u | 4u | 300u << 4 | 4u << 20 | 2u << 24 | 9u << 26 | std::uint64_t{5} << 30;

TEST(Sample, DecodesBranchStacksWithoutHardwareIndex)
{
    AttrSpec spec = eventOf(sampleBit::BranchStack);
    spec.branchSampleType = branchBit::Any;
    const Delivered got =
        deliverSample(spec, Bytes().words({2, 0x10, 0x20, branchFlags, 0x30, 0x40, 2 | 8}));
    const Sample& sample = got.sink.samples.at(0);
    ASSERT_EQ(sample.branches.size(), 2u);
    EXPECT_FALSE(sample.hasBranchHwIndex);
    const Branch first = sample.branches[0];
    EXPECT_EQ(first.from, 0x10u);
    EXPECT_EQ(first.to, 0x20u);
    EXPECT_TRUE(first.mispredicted() && !first.predicted() && first.inTransaction() &&
                !first.aborted());
    EXPECT_EQ(first.cycles(), 300u);
    EXPECT_EQ(first.type(), 4u);
    EXPECT_EQ(first.speculation(), 2u);
    EXPECT_EQ(first.extendedType(), 9u);
    EXPECT_EQ(first.privilege(), 5u);
    EXPECT_TRUE(sample.branches[1].predicted() && sample.branches[1].aborted());
}

TEST(Sample, DecodesBranchStacksWithHardwareIndexAndCounters)
{
    AttrSpec spec = eventOf(sampleBit::BranchStack | sampleBit::PhysAddr);
    spec.branchSampleType = branchBit::Any | branchBit::HwIndex | branchBit::Counters;
    const Delivered got =
        deliverSample(spec, Bytes().words({2, 31, 1, 2, 0, 3, 4, 0, 111, 222, 0x9999}));
    const Sample& sample = got.sink.samples.at(0);
    EXPECT_TRUE(sample.hasBranchHwIndex);
    EXPECT_EQ(sample.branchHwIndex, 31u);
    ASSERT_EQ(sample.branches.size(), 2u);
    EXPECT_EQ(sample.branches[1].to, 4u);
    EXPECT_EQ(toVector(sample.branchCounters), (std::vector<std::uint64_t>{111, 222}));
    EXPECT_EQ(sample.physAddr, 0x9999u);
}

TEST(Sample, DecodesRegistersByTheMaskOfTheEvent)
{
    AttrSpec spec = eventOf(sampleBit::RegsUser | sampleBit::RegsIntr);
    spec.regsUser = 0x8101;
    spec.regsIntr = 0x2;
    const Delivered got = deliverSample(spec, Bytes().words({2, 11, 22, 33, 1, 44}));
    const Sample& sample = got.sink.samples.at(0);
    EXPECT_EQ(sample.userRegs.abi, 2u);
    EXPECT_EQ(sample.userRegs.mask, 0x8101u);
    EXPECT_EQ(toVector(sample.userRegs.values), (std::vector<std::uint64_t>{11, 22, 33}));
    EXPECT_EQ(sample.intrRegs.abi, 1u);
    EXPECT_EQ(toVector(sample.intrRegs.values), (std::vector<std::uint64_t>{44}));
}

TEST(Sample, HasNoRegistersWhenTheAbiIsNone)
{
    AttrSpec spec = eventOf(sampleBit::RegsUser | sampleBit::DataSrc);
    spec.regsUser = 0xff;
    const Delivered got = deliverSample(spec, Bytes().words({0, 0xda7a}));
    EXPECT_TRUE(got.sink.samples.at(0).userRegs.values.empty());
    EXPECT_EQ(got.sink.samples.at(0).dataSrc, 0xda7au);
}

TEST(Sample, KeepsTheValidPartOfAStackDump)
{
    const Delivered got = deliverSample(eventOf(sampleBit::StackUser | sampleBit::Weight),
                                        Bytes().u64(16).chars("0123456789abcdef").u64(10).u64(77));
    const Sample& sample = got.sink.samples.at(0);
    EXPECT_EQ(sample.userStackDumped, 16u);
    ASSERT_EQ(sample.userStack.size(), 10u);
    EXPECT_EQ(std::memcmp(sample.userStack.data(), "0123456789", 10), 0);
    EXPECT_EQ(sample.weight, 77u);
}

TEST(Sample, HasNoDynamicSizeAfterAnEmptyStackDump)
{
    const Delivered got =
        deliverSample(eventOf(sampleBit::StackUser | sampleBit::Weight), Bytes().words({0, 77}));
    EXPECT_TRUE(got.sink.samples.at(0).userStack.empty());
    EXPECT_EQ(got.sink.samples.at(0).weight, 77u);
}

TEST(Sample, SplitsTheWeightStructure)
{
    const Delivered got = deliverSample(eventOf(sampleBit::WeightStruct),
                                        Bytes().u32(0x11111111).u16(0x2222).u16(0x3333));
    const Sample& sample = got.sink.samples.at(0);
    EXPECT_EQ(sample.weight, 0x3333222211111111u);
    EXPECT_EQ(sample.weight1, 0x11111111u);
    EXPECT_EQ(sample.weight2, 0x2222u);
    EXPECT_EQ(sample.weight3, 0x3333u);
}

TEST(Sample, DecodesTheLastFieldsInTheKernelsOrder)
{
    const std::uint64_t type = sampleBit::DataSrc | sampleBit::Transaction | sampleBit::PhysAddr |
                               sampleBit::Cgroup | sampleBit::DataPageSize |
                               sampleBit::CodePageSize | sampleBit::Aux;
    const Delivered got =
        deliverSample(eventOf(type), Bytes().words({1, 2, 3, 4, 5, 6, 8}).chars("auxbytes"));
    const Sample& sample = got.sink.samples.at(0);
    EXPECT_EQ(sample.dataSrc, 1u);
    EXPECT_EQ(sample.transaction, 2u);
    EXPECT_EQ(sample.physAddr, 3u);
    EXPECT_EQ(sample.cgroup, 4u);
    EXPECT_EQ(sample.dataPageSize, 5u);
    EXPECT_EQ(sample.codePageSize, 6u);
    ASSERT_EQ(sample.aux.size(), 8u);
    EXPECT_EQ(std::memcmp(sample.aux.data(), "auxbytes", 8), 0);
}

TEST(Sample, ThatOverrunsItsRecordIsCountedAndTheNextOneIsRead)
{
    const std::uint64_t types[] = {sampleBit::Callchain, sampleBit::Raw, sampleBit::BranchStack,
                                   sampleBit::StackUser, sampleBit::Aux};
    for (const std::uint64_t type : types) {
        PerfFileBuilder builder;
        builder.event(eventOf(type))
            .add(9, Bytes().u64(0x1fffffffffffffffu))
            .add(9, Bytes().words({0, 0, 0}));
        const Delivered got(builder.file());
        EXPECT_EQ(got.stats.badRecords, 1u) << type;
        EXPECT_EQ(got.stats.badSamples, 1u) << type;
        EXPECT_EQ(got.stats.badOffsets, std::vector<std::uint64_t>{builder.recordsOffset()})
            << type;
        EXPECT_EQ(got.sink.samples.size(), 1u) << type;
        EXPECT_EQ(got.sink.samples.at(0).offset, builder.recordsOffset() + 16) << type;
    }
}

TEST(Sample, WithAGroupCountBeyondItsRecordIsCountedAsBad)
{
    AttrSpec spec = eventOf(sampleBit::Read);
    spec.readFormat = readBit::Group | readBit::Id;
    const Delivered got = deliverSample(spec, Bytes().words({0x2000000000000001u, 1, 2}));
    EXPECT_EQ(got.stats.badRecords, 1u);
    EXPECT_TRUE(got.sink.samples.empty());
}

TEST(ReadExpander, ListsTheMembersThatGrew)
{
    AttrSpec leader = eventOf(sampleBit::Read | sampleBit::Id);
    leader.readFormat = readBit::Group | readBit::Id;
    leader.ids = {1};
    AttrSpec member = leader;
    member.config = 1;
    member.ids = {2};
    PerfFileBuilder builder;
    builder.event(leader).event(member);
    builder.add(9, Bytes().words({1, 2, 500, 1, 0, 2}))
        .add(9, Bytes().words({1, 3, 700, 1, 40, 2, 9, 99}));
    const Delivered got(builder.file());
    ReadExpander expander(got.recording);
    const auto first = expander.expand(got.sink.samples.at(0));
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first[0].event->index, 0u);
    EXPECT_EQ(first[0].period, 500u);
    const auto second = expander.expand(got.sink.samples.at(1));
    ASSERT_EQ(second.size(), 2u);
    EXPECT_EQ(second[0].period, 200u);
    EXPECT_EQ(second[1].event->index, 1u);
    EXPECT_EQ(second[1].period, 40u);
    EXPECT_EQ(expander.unknownIds(), 1u);
}

TEST(ReadExpander, GivesASampleWithoutReadValuesAsItself)
{
    const Delivered got(PerfFileBuilder().event(plainEvent()).add(9, plainSample(5)).file());
    ReadExpander expander(got.recording);
    const auto members = expander.expand(got.sink.samples.at(0));
    ASSERT_EQ(members.size(), 1u);
    EXPECT_EQ(members[0].event, got.sink.samples[0].event);
    EXPECT_EQ(members[0].period, 1u);
}

} // namespace
} // namespace samplefold::perfdata
