// Decoding of side-band records, type by type.

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
using testing::plainType;

/// Delivers one record of an event without trailers.
Delivered deliverOne(std::uint32_t type, const Bytes& body, std::uint16_t misc = 0)
{
    AttrSpec spec;
    spec.sampleType = plainType;
    return Delivered(PerfFileBuilder().event(spec).add(type, body, misc).file());
}

TEST(SideBand, TrailerGivesTaskTimeIdAndCpuOfAnyKernelRecord)
{
    AttrSpec spec;
    spec.sampleType = sampleBit::Tid | sampleBit::Time | sampleBit::Id | sampleBit::StreamId |
                      sampleBit::Cpu | sampleBit::Identifier | sampleBit::Period;
    spec.flags = attrBit::SampleIdAll;
    spec.ids = {71};
    AttrSpec other = spec;
    other.ids = {72};
    Bytes body;
    body.u32(5).u32(6).paddedText("shell").u32(1).u32(2).u64(1000).u64(72).u64(9).u32(3).u32(0).u64(
        72);
    const Delivered got(PerfFileBuilder().event(spec).event(other).add(3, body, 1 << 13).file());
    const CommRecord& comm = got.sink.comms.at(0);
    EXPECT_EQ(comm.pid, 5);
    EXPECT_EQ(comm.tid, 6);
    EXPECT_EQ(comm.comm, "shell");
    EXPECT_TRUE(comm.isExec());
    EXPECT_EQ(comm.taskPid, 1);
    EXPECT_EQ(comm.taskTid, 2);
    EXPECT_EQ(comm.time, 1000u);
    EXPECT_EQ(comm.id, 72u);
    EXPECT_EQ(comm.cpu, 3u);
    ASSERT_NE(comm.event, nullptr);
    EXPECT_EQ(comm.event->index, 1u);
}

TEST(SideBand, RecordWithoutTrailerHasNoTimeNorEvent)
{
    const Delivered got = deliverOne(3, Bytes().u32(5).u32(6).paddedText("a"));
    const CommRecord& comm = got.sink.comms.at(0);
    EXPECT_EQ(comm.comm, "a");
    EXPECT_FALSE(comm.isExec());
    EXPECT_FALSE(comm.time.has_value());
    EXPECT_FALSE(comm.cpu.has_value());
    EXPECT_FALSE(comm.id.has_value());
    EXPECT_EQ(comm.event, nullptr);
}

TEST(SideBand, DecodesMmap)
{
    Bytes body;
    body.put(std::int32_t{-1}).u32(0).u64(0x1000).u64(0x2000).u64(0x3000).paddedText("/lib/a.so");
    const Delivered code = deliverOne(1, body);
    const MmapRecord& mmap = code.sink.mmaps.at(0);
    EXPECT_EQ(mmap.pid, -1);
    EXPECT_EQ(mmap.start, 0x1000u);
    EXPECT_EQ(mmap.length, 0x2000u);
    EXPECT_EQ(mmap.pageOffset, 0x3000u);
    EXPECT_EQ(mmap.filename, "/lib/a.so");
    EXPECT_FALSE(mmap.isMmap2);
    EXPECT_FALSE(mmap.isData());
    EXPECT_TRUE(deliverOne(1, body, 1 << 13).sink.mmaps.at(0).isData());
}

Bytes mmap2Body(const Bytes& identity, std::uint32_t protection)
{
    Bytes body;
    body.u32(4).u32(5).u64(0x1000).u64(0x2000).u64(0x3000).append(identity).u32(protection).u32(2);
    return body.paddedText("/bin/b");
}

TEST(SideBand, DecodesMmap2WithDeviceAndInode)
{
    const Delivered got = deliverOne(10, mmap2Body(Bytes().u32(8).u32(1).u64(77).u64(88), 5));
    const MmapRecord& mmap = got.sink.mmaps.at(0);
    EXPECT_TRUE(mmap.isMmap2);
    EXPECT_EQ(mmap.devMajor, 8u);
    EXPECT_EQ(mmap.devMinor, 1u);
    EXPECT_EQ(mmap.inode, 77u);
    EXPECT_EQ(mmap.inodeGeneration, 88u);
    EXPECT_FALSE(mmap.buildId.has_value());
    EXPECT_EQ(mmap.protection, 5u);
    EXPECT_EQ(mmap.flags, 2u);
    EXPECT_EQ(mmap.filename, "/bin/b");
    EXPECT_FALSE(mmap.isData());
    EXPECT_TRUE(deliverOne(10, mmap2Body(Bytes().zeros(24), 3)).sink.mmaps.at(0).isData());
}

TEST(SideBand, DecodesMmap2WithBuildId)
{
    Bytes identity;
    identity.u8(16).u8(0).u16(0).chars("0123456789abcdefXXXX");
    const Delivered got = deliverOne(10, mmap2Body(identity, 5), 1 << 14);
    const MmapRecord& mmap = got.sink.mmaps.at(0);
    ASSERT_TRUE(mmap.buildId.has_value());
    ASSERT_EQ(mmap.buildId->size, 16u);
    EXPECT_EQ(std::memcmp(mmap.buildId->bytes, "0123456789abcdef", 16), 0);
    EXPECT_EQ(mmap.inode, 0u);
    EXPECT_EQ(mmap.filename, "/bin/b");
}

TEST(SideBand, BuildIdLongerThanItsFieldIsCut)
{
    const Delivered got =
        deliverOne(10, mmap2Body(Bytes().u8(255).u8(0).u16(0).zeros(20), 5), 1 << 14);
    EXPECT_EQ(got.sink.mmaps.at(0).buildId->size, 20u);
}

TEST(SideBand, DecodesForkAndExit)
{
    Bytes body;
    body.u32(2).u32(1).u32(4).u32(3).u64(999);
    const Delivered fork = deliverOne(7, body);
    EXPECT_EQ(fork.sink.forks.at(0).pid, 2);
    EXPECT_EQ(fork.sink.forks.at(0).parentPid, 1);
    EXPECT_EQ(fork.sink.forks.at(0).tid, 4);
    EXPECT_EQ(fork.sink.forks.at(0).parentTid, 3);
    EXPECT_EQ(fork.sink.forks.at(0).taskTime, 999u);
    EXPECT_EQ(fork.sink.forks.at(0).time, 999u);
    const Delivered exit = deliverOne(4, body);
    EXPECT_EQ(exit.sink.exits.at(0).pid, 2);
    EXPECT_TRUE(exit.sink.forks.empty());
}

TEST(SideBand, DecodesLostRecordsAndSamples)
{
    const Delivered lost = deliverOne(2, Bytes().words({7, 100}));
    EXPECT_EQ(lost.sink.losts.at(0).lostId, 7u);
    EXPECT_EQ(lost.sink.losts.at(0).lost, 100u);
    const Delivered samples = deliverOne(13, Bytes().words({50}));
    EXPECT_EQ(samples.sink.lostSamples.at(0).lost, 50u);
}

TEST(SideBand, DecodesThrottleAndUnthrottle)
{
    const Delivered throttle = deliverOne(5, Bytes().words({1, 2, 3}));
    EXPECT_EQ(throttle.sink.throttles.at(0).throttleTime, 1u);
    EXPECT_EQ(throttle.sink.throttles.at(0).throttleId, 2u);
    EXPECT_EQ(throttle.sink.throttles.at(0).streamId, 3u);
    EXPECT_FALSE(throttle.sink.throttles.at(0).isUnthrottle());
    EXPECT_TRUE(deliverOne(6, Bytes().words({1, 2, 3})).sink.throttles.at(0).isUnthrottle());
}

TEST(SideBand, DecodesReadInTheFormatOfItsEvent)
{
    AttrSpec spec = plainEvent();
    spec.readFormat = readBit::Id | readBit::TimeEnabled;
    Bytes body;
    body.u32(3).u32(4).words({1000, 20, 77}).u32(3).u32(4).u64(5);
    const Delivered got(PerfFileBuilder().event(spec).add(8, body).file());
    const ReadRecord& read = got.sink.reads.at(0);
    EXPECT_EQ(read.pid, 3);
    EXPECT_EQ(read.tid, 4);
    EXPECT_EQ(read.values[0].value, 1000u);
    EXPECT_EQ(read.values[0].id, 77u);
    EXPECT_EQ(read.values.timeEnabled, 20u);
}

TEST(SideBand, DecodesSwitches)
{
    const Delivered in = deliverOne(14, Bytes());
    EXPECT_FALSE(in.sink.switches.at(0).isOut());
    EXPECT_FALSE(in.sink.switches.at(0).otherPid.has_value());
    const Delivered out = deliverOne(15, Bytes().u32(6).u32(7), 1 << 13 | 1 << 14);
    EXPECT_TRUE(out.sink.switches.at(0).isOut());
    EXPECT_TRUE(out.sink.switches.at(0).isPreempt());
    EXPECT_EQ(out.sink.switches.at(0).otherPid, 6);
    EXPECT_EQ(out.sink.switches.at(0).otherTid, 7);
}

TEST(SideBand, DecodesNamespaces)
{
    const Delivered got = deliverOne(16, Bytes().u32(1).u32(2).words({2, 3, 4, 5, 6}));
    const NamespacesRecord& record = got.sink.namespaces.at(0);
    ASSERT_EQ(record.links.size(), 2u);
    EXPECT_EQ(record.links[1].device, 5u);
    EXPECT_EQ(record.links[1].inode, 6u);
}

TEST(SideBand, DecodesKernelSymbolsAndPrograms)
{
    Bytes symbol;
    symbol.u64(0xffffffffc0000000u).u32(64).u16(1).u16(1).paddedText("bpf_prog_x");
    const Delivered ksymbol = deliverOne(17, symbol);
    EXPECT_EQ(ksymbol.sink.ksymbols.at(0).address, 0xffffffffc0000000u);
    EXPECT_EQ(ksymbol.sink.ksymbols.at(0).length, 64u);
    EXPECT_EQ(ksymbol.sink.ksymbols.at(0).name, "bpf_prog_x");
    EXPECT_TRUE(ksymbol.sink.ksymbols.at(0).isUnregister());
    const Delivered bpf = deliverOne(18, Bytes().u16(2).u16(3).u32(44).chars("tagbytes"));
    EXPECT_EQ(bpf.sink.bpfEvents.at(0).eventType, 2u);
    EXPECT_EQ(bpf.sink.bpfEvents.at(0).programId, 44u);
    EXPECT_EQ(bpf.sink.bpfEvents.at(0).tag.size(), 8u);
}

TEST(SideBand, DecodesCgroupTextPokeAndAux)
{
    EXPECT_EQ(deliverOne(19, Bytes().u64(12).paddedText("/user")).sink.cgroups.at(0).path, "/user");
    const Delivered poke = deliverOne(20, Bytes().u64(0x10).u16(2).u16(3).chars("OONNN").zeros(7));
    EXPECT_EQ(poke.sink.textPokes.at(0).oldBytes.size(), 2u);
    EXPECT_EQ(std::memcmp(poke.sink.textPokes.at(0).newBytes.data(), "NNN", 3), 0);
    const Delivered aux = deliverOne(11, Bytes().words({1, 2, 3}));
    EXPECT_EQ(aux.sink.auxes.at(0).auxOffset, 1u);
    EXPECT_EQ(aux.sink.auxes.at(0).auxSize, 2u);
    EXPECT_EQ(aux.sink.auxes.at(0).flags, 3u);
    EXPECT_EQ(deliverOne(12, Bytes().u32(8).u32(9)).sink.itraceStarts.at(0).tid, 9);
    EXPECT_EQ(deliverOne(21, Bytes().u64(5)).sink.hwIds.at(0).hwId, 5u);
}

TEST(SideBand, DecodesDeferredCallChains)
{
    const Delivered got = deliverOne(22, Bytes().words({0xc00, 2, 10, 20}));
    EXPECT_EQ(got.sink.deferreds.at(0).cookie, 0xc00u);
    ASSERT_EQ(got.sink.deferreds.at(0).callchain.size(), 2u);
    EXPECT_EQ(got.sink.deferreds.at(0).callchain[1], 20u);
}

TEST(SideBand, DecodesBuildIdRecordsWithAndWithoutSize)
{
    Bytes body;
    body.put(std::int32_t{-1}).chars("0123456789abcdefghij").u8(16).zeros(3).paddedText("/bin/c");
    const Delivered sized = deliverOne(67, body, 2 | 1 << 15);
    EXPECT_EQ(sized.sink.buildIds.at(0).buildId.size, 16u);
    EXPECT_EQ(sized.sink.buildIds.at(0).filename, "/bin/c");
    EXPECT_EQ(deliverOne(67, body, 2).sink.buildIds.at(0).buildId.size, 20u);
    ASSERT_EQ(sized.recording.features().buildIds.size(), 1u);
    EXPECT_EQ(sized.recording.features().buildIds[0].cpuMode, CpuMode::User);
    EXPECT_EQ(sized.recording.features().buildIds[0].filename, "/bin/c");
}

TEST(SideBand, SkipsTheBytesAfterAuxtraceRecords)
{
    Bytes body;
    body.u64(16).words({1, 2}).u32(3).u32(4).u32(5).u32(0);
    PerfFileBuilder builder;
    builder.event(plainEvent())
        .add(71, body)
        .addRaw(Bytes().chars("these are no rec"))
        .add(9, plainSample(7));
    const Delivered got(builder.file());
    const AuxtraceRecord& auxtrace = got.sink.auxtraces.at(0);
    EXPECT_EQ(auxtrace.trace.size(), 16u);
    EXPECT_EQ(std::memcmp(auxtrace.trace.data(), "these are no rec", 16), 0);
    EXPECT_EQ(auxtrace.auxOffset, 1u);
    EXPECT_EQ(auxtrace.tid, 4);
    EXPECT_EQ(auxtrace.traceCpu, 5u);
    EXPECT_EQ(got.sink.samples.size(), 1u);
    EXPECT_EQ(got.recording.counts().back().bytes, 8u + body.size() + 16u);
}

TEST(SideBand, DecodesAuxtraceInfoAndErrors)
{
    EXPECT_EQ(deliverOne(70, Bytes().u32(1).u32(0).u64(9)).sink.auxtraceInfos.at(0).priv.size(),
              8u);
    Bytes error;
    error.u32(1).u32(2).u32(3).u32(4).u32(5).u32(1).u64(0x99).u64(1234).paddedText("lost data");
    const Delivered got = deliverOne(72, error);
    const AuxtraceErrorRecord& record = got.sink.auxtraceErrors.at(0);
    EXPECT_EQ(record.code, 2u);
    EXPECT_EQ(record.cpu, 3u);
    EXPECT_EQ(record.ip, 0x99u);
    EXPECT_EQ(record.time, 1234u);
    EXPECT_EQ(record.message, "lost data");
}

TEST(SideBand, DecodesThreadMaps)
{
    Bytes body;
    body.u64(2).u64(11).chars("first").zeros(11).put(std::int64_t{-1}).zeros(16);
    const Delivered got = deliverOne(73, body);
    ASSERT_EQ(got.sink.threadMaps.at(0).threads.size(), 2u);
    EXPECT_EQ(got.sink.threadMaps[0].threads[0].tid, 11);
    EXPECT_EQ(got.sink.threadMaps[0].threads[0].comm, "first");
    EXPECT_EQ(got.sink.threadMaps[0].threads[1].tid, -1);
}

TEST(SideBand, DecodesCpuMapsInEveryEncoding)
{
    using Cpus = std::vector<std::uint32_t>;
    const auto cpusOf = [](const Bytes& body) {
        return deliverOne(74, body).sink.cpuMaps.at(0).cpus;
    };
    EXPECT_EQ(cpusOf(Bytes().u16(0).u16(3).u16(7).u16(1).u16(0xffff)), (Cpus{UINT32_MAX, 1, 7}));
    EXPECT_EQ(cpusOf(Bytes().u16(1).u16(2).u16(4).u32(5).u32(1)), (Cpus{0, 2, 32}));
    EXPECT_EQ(cpusOf(Bytes().u16(1).u16(1).u16(8).zeros(4).u64(std::uint64_t{1} << 63)),
              (Cpus{63}));
    EXPECT_EQ(cpusOf(Bytes().u16(2).u8(1).u8(0).u16(4).u16(6)), (Cpus{UINT32_MAX, 4, 5, 6}));
}

TEST(SideBand, DecodesCounterRecords)
{
    const Delivered config = deliverOne(75, Bytes().words({2, 0, 5, 1, 100}));
    ASSERT_EQ(config.sink.statConfigs.at(0).entries.size(), 2u);
    EXPECT_EQ(config.sink.statConfigs[0].entries[1].tag, 1u);
    EXPECT_EQ(config.sink.statConfigs[0].entries[1].value, 100u);
    const Delivered stat = deliverOne(76, Bytes().u64(7).u32(1).u32(2).words({10, 20, 30}));
    EXPECT_EQ(stat.sink.stats.at(0).id, 7u);
    EXPECT_EQ(stat.sink.stats[0].counterCpu, 1u);
    EXPECT_EQ(stat.sink.stats[0].threadIndex, 2u);
    EXPECT_EQ(stat.sink.stats[0].value, 10u);
    EXPECT_EQ(stat.sink.stats[0].timeEnabled, 20u);
    EXPECT_EQ(stat.sink.stats[0].timeRunning, 30u);
    const Delivered round = deliverOne(77, Bytes().words({1, 555}));
    EXPECT_TRUE(round.sink.statRounds.at(0).isFinal);
    EXPECT_EQ(round.sink.statRounds[0].roundTime, 555u);
}

TEST(SideBand, CounterRecordsThatOverrunTheirSizeAreBad)
{
    const std::uint64_t many = std::uint64_t{1} << 61;
    EXPECT_EQ(deliverOne(73, Bytes().u64(2).u64(11).zeros(16)).stats.badRecords, 1u);
    EXPECT_EQ(deliverOne(73, Bytes().u64(many).u64(11).zeros(16)).stats.badRecords, 1u);
    EXPECT_EQ(deliverOne(74, Bytes().u16(0).u16(9).u16(1).u16(2)).stats.badRecords, 1u);
    EXPECT_EQ(deliverOne(75, Bytes().words({many, 0, 5})).stats.badRecords, 1u);
    EXPECT_EQ(deliverOne(76, Bytes().words({7, 0, 1, 2})).stats.badRecords, 1u);
    EXPECT_EQ(deliverOne(77, Bytes().u64(0)).stats.badRecords, 1u);
}

TEST(SideBand, ACountingRunIsToldByItsRecords)
{
    const Bytes value = Bytes().words({7, 0, 1, 2, 3});
    EXPECT_TRUE(deliverOne(76, value).recording.isCountingRun());
    EXPECT_FALSE(deliverOne(77, Bytes().words({1, 555})).recording.isCountingRun());
}

TEST(SideBand, DecodesTimeConversionsShortAndLong)
{
    const Delivered shortOne = deliverOne(79, Bytes().words({1, 2, 3}));
    EXPECT_EQ(shortOne.sink.timeConvs.at(0).zero, 3u);
    EXPECT_EQ(shortOne.sink.timeConvs[0].mask, 0u);
    const Delivered longOne = deliverOne(79, Bytes().words({1, 2, 3, 4, 5}).u8(1).u8(1).zeros(6));
    EXPECT_EQ(longOne.sink.timeConvs.at(0).cycles, 4u);
    EXPECT_EQ(longOne.sink.timeConvs[0].mask, 5u);
    EXPECT_TRUE(longOne.sink.timeConvs[0].capUserTimeShort);
}

TEST(SideBand, DecodesIdIndexAndUsesItsIds)
{
    AttrSpec first;
    first.sampleType = sampleBit::Identifier;
    AttrSpec second = first;
    PerfFileBuilder builder;
    builder.event(first).event(second);
    builder.add(69, Bytes().words({2, 100, 0, 5, 6, 200, 1, 7, 8})).add(9, Bytes().u64(200));
    const Delivered got(builder.file());
    ASSERT_EQ(got.sink.idIndexes.at(0).entries.size(), 2u);
    EXPECT_EQ(got.sink.idIndexes[0].entries[1].cpu, 7u);
    ASSERT_EQ(got.sink.samples.size(), 1u);
    EXPECT_EQ(got.sink.samples[0].event->index, 1u);
}

TEST(SideBand, CountsUnknownTypesAndPassesThemOn)
{
    const Delivered got = deliverOne(1000, Bytes().u64(1));
    EXPECT_EQ(got.sink.others.at(0).body.size(), 8u);
    ASSERT_EQ(got.recording.counts().size(), 1u);
    EXPECT_EQ(got.recording.counts()[0].type, 1000u);
    EXPECT_EQ(got.recording.counts()[0].count, 1u);
    EXPECT_EQ(got.recording.counts()[0].bytes, 16u);
}

TEST(SideBand, EveryBodyThatIsTooShortIsCountedAsBad)
{
    const std::uint32_t types[] = {1,  2,  3,  4,  5,  6,  7,  8,  10, 11, 12, 13, 15, 16, 17, 18,
                                   19, 20, 21, 22, 67, 69, 70, 71, 72, 73, 74, 75, 76, 77, 79};
    for (const std::uint32_t type : types) {
        const Delivered got = deliverOne(type, Bytes());
        EXPECT_EQ(got.stats.badRecords, 1u) << "type " << type;
        EXPECT_EQ(got.stats.badSamples, 0u) << "type " << type;
        EXPECT_EQ(got.sink.order.size(), 0u) << "type " << type;
    }
}

} // namespace
} // namespace samplefold::perfdata
