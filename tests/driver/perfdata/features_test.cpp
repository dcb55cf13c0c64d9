// Features: of built files, of built pipes, and of a recording.

#include "driver/perfdata/oracle_case.h"
#include "driver/perfdata/test_recording.h"

#include <gtest/gtest.h>

namespace samplefold::perfdata {
namespace {

using testing::attrBytes;
using testing::AttrSpec;
using testing::Bytes;
using testing::bytesOf;
using testing::Delivered;
using testing::open;
using testing::OracleCase;
using testing::PerfFileBuilder;
using testing::plainEvent;
using testing::plainSample;
using testing::record;

Bytes fileWith(std::uint32_t feature, const Bytes& content)
{
    return PerfFileBuilder()
        .event(plainEvent())
        .add(9, plainSample(1))
        .feature(feature, content)
        .file();
}

/// Features of a file with this one; the text lives in the result.
Features featuresWith(std::uint32_t feature, const Bytes& content)
{
    const Bytes bytes = fileWith(feature, content);
    return open(bytes).features();
}

TEST(Features, ReadsTexts)
{
    EXPECT_EQ(featuresWith(3, Bytes().featureText("host")).hostname, "host");
    EXPECT_EQ(featuresWith(4, Bytes().featureText("6.1")).osRelease, "6.1");
    EXPECT_EQ(featuresWith(5, Bytes().featureText("6.1.2")).version, "6.1.2");
    EXPECT_EQ(featuresWith(6, Bytes().featureText("x86_64")).arch, "x86_64");
    EXPECT_EQ(featuresWith(8, Bytes().featureText("Some CPU")).cpuDesc, "Some CPU");
    EXPECT_EQ(featuresWith(9, Bytes().featureText("GenuineIntel,6")).cpuId, "GenuineIntel,6");
}

TEST(Features, ReadsCountsOfCpusAndMemory)
{
    const Features cpus = featuresWith(7, Bytes().u32(8).u32(4));
    EXPECT_EQ(cpus.cpusAvailable, 8u);
    EXPECT_EQ(cpus.cpusOnline, 4u);
    EXPECT_FALSE(cpus.totalMemKb.has_value());
    EXPECT_EQ(featuresWith(10, Bytes().u64(123456)).totalMemKb, 123456u);
}

TEST(Features, ReadsTheCommandLine)
{
    const Features features =
        featuresWith(11, Bytes().u32(2).featureText("perf").featureText("record -g"));
    EXPECT_EQ(features.cmdline, (std::vector<std::string>{"perf", "record -g"}));
}

TEST(Features, ReadsTheCpuTopologyWithAndWithoutDies)
{
    Bytes topology;
    topology.u32(1).featureText("0-1").u32(2).featureText("0").featureText("1");
    const Bytes places = Bytes(topology).u32(0).u32(0).u32(1).u32(0);
    const auto read = [](const Bytes& content) {
        PerfFileBuilder builder;
        builder.event(plainEvent())
            .add(9, plainSample(1))
            .feature(7, Bytes().u32(2).u32(2))
            .feature(13, content);
        const Bytes bytes = builder.file();
        return open(bytes).features().cpuTopology.value();
    };
    const CpuTopology plain = read(places);
    EXPECT_EQ(plain.coreSiblings, std::vector<std::string>{"0-1"});
    EXPECT_EQ(plain.threadSiblings, (std::vector<std::string>{"0", "1"}));
    ASSERT_EQ(plain.cpus.size(), 2u);
    EXPECT_EQ(plain.cpus[1].core, 1);
    EXPECT_EQ(plain.cpus[1].socket, 0);
    EXPECT_EQ(plain.cpus[1].die, -1);
    const CpuTopology withDies = read(Bytes(places).u32(1).featureText("0-1").u32(0).u32(5));
    EXPECT_EQ(withDies.dieSiblings, std::vector<std::string>{"0-1"});
    EXPECT_EQ(withDies.cpus.at(1).die, 5);
}

TEST(Features, ReadsNumaNodesAndPmus)
{
    const Features numa =
        featuresWith(14, Bytes().u32(1).u32(3).u64(100).u64(40).featureText("0-7"));
    ASSERT_EQ(numa.numa.size(), 1u);
    EXPECT_EQ(numa.numa[0].node, 3u);
    EXPECT_EQ(numa.numa[0].memTotalKb, 100u);
    EXPECT_EQ(numa.numa[0].memFreeKb, 40u);
    EXPECT_EQ(numa.numa[0].cpus, "0-7");
    const Features pmus = featuresWith(16, Bytes().u32(1).u32(4).featureText("cpu"));
    ASSERT_EQ(pmus.pmuMappings.size(), 1u);
    EXPECT_EQ(pmus.pmuMappings[0].type, 4u);
    EXPECT_EQ(pmus.pmuMappings[0].name, "cpu");
    const Features hybrid =
        featuresWith(30, Bytes().u32(1).featureText("cpu_core").featureText("0-15"));
    ASSERT_EQ(hybrid.hybrid.size(), 1u);
    EXPECT_EQ(hybrid.hybrid[0].cpus, "0-15");
}

TEST(Features, ReadsPmuCapabilitiesOfBothKinds)
{
    const Bytes caps = Bytes().u32(1).featureText("branches").featureText("32");
    const Features core = featuresWith(28, caps);
    ASSERT_EQ(core.pmuCaps.size(), 1u);
    EXPECT_EQ(core.pmuCaps[0].pmu, "");
    EXPECT_EQ(core.pmuCaps[0].caps,
              (std::vector<std::pair<std::string, std::string>>{{"branches", "32"}}));
    const Features named = featuresWith(31, Bytes().u32(1).append(caps).featureText("cpu_atom"));
    ASSERT_EQ(named.pmuCaps.size(), 1u);
    EXPECT_EQ(named.pmuCaps[0].pmu, "cpu_atom");
}

TEST(Features, ReadsClocksTimesAndCompression)
{
    EXPECT_EQ(featuresWith(21, Bytes().words({5, 9})).sampleTime,
              std::pair(std::uint64_t{5}, std::uint64_t{9}));
    EXPECT_EQ(featuresWith(23, Bytes().u64(1)).clockResolution, 1u);
    const Features clock = featuresWith(29, Bytes().u32(1).u32(4).words({1700, 33}));
    EXPECT_EQ(clock.clockData.value().clockid, 4u);
    EXPECT_EQ(clock.clockData.value().wallClockNs, 1700u);
    EXPECT_EQ(clock.clockData.value().clockNs, 33u);
    const Features zstd = featuresWith(27, Bytes().u32(1).u32(1).u32(3).u32(7).u32(528384));
    EXPECT_EQ(zstd.compression.value().level, 3u);
    EXPECT_EQ(zstd.compression.value().mmapLength, 528384u);
}

TEST(Features, NamesEventsAndAddsIdsFromTheEventDescription)
{
    Bytes description;
    description.u32(1)
        .u32(128)
        .append(attrBytes(plainEvent()))
        .u32(1)
        .featureText("my-event")
        .u64(31);
    const Bytes bytes = fileWith(12, description);
    const Recording recording = open(bytes);
    EXPECT_EQ(recording.events()[0].name, "my-event");
    EXPECT_EQ(recording.events()[0].nameSource, NameSource::File);
    EXPECT_EQ(recording.eventById(31), &recording.events()[0]);
}

TEST(Features, TellsTheGroupsOfEvents)
{
    PerfFileBuilder builder;
    builder.event(plainEvent()).event(plainEvent()).event(plainEvent()).add(9, plainSample(1));
    builder.feature(17, Bytes().u32(1).featureText("group").u32(1).u32(2));
    const Bytes bytes = builder.file();
    const Recording recording = open(bytes);
    EXPECT_EQ(recording.events()[0].leader, 0u);
    EXPECT_EQ(recording.events()[1].leader, 1u);
    EXPECT_EQ(recording.events()[1].groupName, "group");
    EXPECT_EQ(recording.events()[2].leader, 1u);
}

TEST(Features, ReadsTheBuildIdTable)
{
    Bytes table;
    for (const char* name : {"/bin/a", "[kernel.kallsyms]"}) {
        Bytes body;
        body.put(std::int32_t{-1}).chars("0123456789abcdefghij").u8(20).zeros(3).paddedText(name);
        table.append(record(0, body, 1 << 15 | 1));
    }
    const Features features = featuresWith(2, table);
    ASSERT_EQ(features.buildIds.size(), 2u);
    EXPECT_EQ(features.buildIds[0].filename, "/bin/a");
    EXPECT_EQ(features.buildIds[1].filename, "[kernel.kallsyms]");
    EXPECT_EQ(features.buildIds[1].cpuMode, CpuMode::Kernel);
    EXPECT_EQ(features.buildIds[1].bytes.size, 20u);
}

TEST(Features, NamesTracepointsFromTheTracingData)
{
    Bytes tracing;
    tracing.chars("\x17\x08\x44tracing").chars("0.6").u8(0).u8(0).u8(8).u32(4096);
    tracing.chars("header_page").u8(0).u64(4).zeros(4).chars("header_event").u8(0).u64(0);
    tracing.u32(1).u64(3).zeros(3); // formats of ftrace itself
    const std::string format = "name: sched_switch\nID: 314\nformat:\n\tfield:int x;\n";
    tracing.u32(1).chars("sched").u8(0).u32(1).u64(format.size()).chars(format);
    AttrSpec spec = plainEvent();
    spec.type = 2;
    spec.config = 314;
    PerfFileBuilder builder;
    builder.event(spec).add(9, plainSample(1));
    const Bytes file = PerfFileBuilder(builder).feature(1, tracing).file();
    EXPECT_EQ(open(file).events()[0].name, "sched:sched_switch");
    builder.add(66, Bytes().u32(static_cast<std::uint32_t>(tracing.size())))
        .addRaw(tracing)
        .add(9, plainSample(2));
    const Delivered pipe(builder.pipe());
    EXPECT_EQ(pipe.recording.events()[0].name, "sched:sched_switch");
    EXPECT_EQ(pipe.stats.samples, 2u);
}

TEST(Features, InPipesAreReadAlike)
{
    PerfFileBuilder builder;
    builder.event(plainEvent())
        .add(80, Bytes().u64(3).featureText("piped-host"))
        .add(9, plainSample(1));
    const Bytes bytes = builder.pipe();
    const Recording recording = open(bytes);
    EXPECT_EQ(recording.features().hostname, "piped-host");
    EXPECT_EQ(recording.features().present, std::vector<FeatureId>{FeatureId::Hostname});
}

TEST(Features, ThatAreDamagedAreNotedAndLeftOut)
{
    const std::pair<std::uint32_t, Bytes> damaged[] = {
        {2, Bytes().u32(0).u16(0).u16(4).zeros(8)},
        {3, Bytes().u32(1000).chars("x")},
        {7, Bytes().u32(1)},
        {11, Bytes().u32(0xffffffff).featureText("x")},
        {12, Bytes().u32(5).u32(0xffffffff)},
        {14, Bytes().u32(9)},
        {17, Bytes().u32(1).u32(3)},
        {29, Bytes().u32(1)}};
    for (const auto& [number, content] : damaged) {
        const Bytes bytes = fileWith(number, content);
        const Recording recording = open(bytes);
        EXPECT_EQ(recording.features().broken, 1u) << number;
        ASSERT_EQ(recording.notes().size(), 1u) << number;
        EXPECT_NE(recording.notes()[0].find("is damaged: left out"), std::string::npos);
        EXPECT_EQ(recording.countOf(RecordType::Sample), 1u);
    }
}

TEST(Features, OutsideOfTheFileAreNotedAndLeftOut)
{
    Bytes bytes = fileWith(3, Bytes().featureText("host"));
    bytes.overwrite<std::uint64_t>(bytes.size() - 12 - 16, 1u << 30); // offset of the section
    const Recording recording = open(bytes);
    EXPECT_EQ(recording.features().broken, 1u);
    EXPECT_EQ(recording.features().hostname, "");
    EXPECT_EQ(recording.notes().at(0), "the feature hostname lies outside of the file: left out");
}

TEST(Features, OfARecordingAreTheOnesPerfWrote)
{
    const OracleCase oracle{"deeptree-fp",
                            std::filesystem::path(SF_TEST_DATA_DIR) / "perf" / "deeptree-fp"};
    const std::string content = oracle.load("perf.data").value();
    const Recording recording = Recording::fromBytes(bytesOf(content), oracle.name);
    const Features& features = recording.features();
    EXPECT_EQ(features.hostname, "sfdemo");
    EXPECT_EQ(features.version, "6.1.192");
    EXPECT_EQ(features.arch, "x86_64");
    EXPECT_EQ(features.cpusOnline, 2u);
    EXPECT_EQ(features.cmdline.at(1), "record");
    EXPECT_EQ(features.cmdline.back(), "400");
    EXPECT_EQ(features.broken, 0u);
    EXPECT_EQ(features.cpuTopology.value().cpus.size(), 2u);
    EXPECT_EQ(features.sampleTime,
              std::pair(std::uint64_t{2494794932589}, std::uint64_t{2495195624841}));
    bool hasDeeptree = false;
    for (const BuildId& id : features.buildIds)
        hasDeeptree = hasDeeptree || id.filename == "/opt/sfdemo/deeptree";
    EXPECT_TRUE(hasDeeptree);
}

} // namespace
} // namespace samplefold::perfdata
