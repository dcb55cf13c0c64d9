// Opening of recordings: containers, attributes, ids, what is refused.

#include "driver/perfdata/test_recording.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace samplefold::perfdata {
namespace {

using testing::AttrSpec;
using testing::Bytes;
using testing::Delivered;
using testing::open;
using testing::openError;
using testing::PerfFileBuilder;
using testing::plainComm;
using testing::plainEvent;
using testing::plainSample;
using testing::RecordedSink;
namespace fs = std::filesystem;
using ::testing::TempDir;

Bytes smallFile()
{
    return PerfFileBuilder().event(plainEvent()).add(9, plainSample(5)).add(3, plainComm(6)).file();
}
Bytes smallPipe()
{
    return PerfFileBuilder().event(plainEvent()).add(9, plainSample(5)).add(3, plainComm(6)).pipe();
}

/// A file or folder of this test that is removed at its end.
class Scratch {
public:
    Scratch()
        : path(fs::path(TempDir()) /
               ("perfdata-" + std::to_string(::getpid()) + "-" + std::to_string(counter++)))
    {
    }
    ~Scratch() { fs::remove_all(path); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    void write(std::span<const std::byte> bytes) const
    {
        std::ofstream out(path, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
    }

    const fs::path path;

private:
    static inline int counter = 0;
};

std::string openPathError(const std::string& path, const OpenOptions& options = {})
{
    try {
        (void)Recording::open(path, options);
        return {};
    } catch (const ReadError& error) {
        return error.what();
    }
}

TEST(Recording, OpensAFileByItsPath)
{
    const Scratch scratch;
    scratch.write(smallFile().span());
    const Recording recording = Recording::open(scratch.path.string());
    EXPECT_EQ(recording.name(), scratch.path.string());
    EXPECT_EQ(recording.container(), Container::File);
    EXPECT_TRUE(recording.offsetsAreInFile());
    EXPECT_EQ(recording.countOf(RecordType::Sample), 1u);
    EXPECT_EQ(recording.countOf(RecordType::Comm), 1u);
    EXPECT_EQ(recording.countOf(RecordType::Exit), 0u);
    EXPECT_EQ(recording.recordBytes(), 80u);
    EXPECT_FALSE(recording.fault().has_value());
    EXPECT_TRUE(recording.notes().empty());
}

TEST(Recording, OpensPipeContentInARegularFile)
{
    const Scratch scratch;
    scratch.write(smallPipe().span());
    const Recording recording = Recording::open(scratch.path.string());
    EXPECT_EQ(recording.container(), Container::Pipe);
    EXPECT_EQ(recording.events().size(), 1u);
    EXPECT_EQ(recording.countOf(RecordType::Sample), 1u);
}

TEST(Recording, SpoolsANamedPipe)
{
    const Scratch scratch;
    ASSERT_EQ(::mkfifo(scratch.path.c_str(), 0600), 0);
    std::thread writer([&] { scratch.write(smallFile().span()); });
    const Recording recording = Recording::open(scratch.path.string());
    writer.join();
    RecordedSink sink;
    EXPECT_EQ(recording.deliver(sink).samples, 1u);
    EXPECT_EQ(sink.comms.at(0).comm, "name");
}

TEST(Recording, ReadsStandardInput)
{
    int ends[2] = {};
    ASSERT_EQ(::pipe(ends), 0);
    const Bytes bytes = smallPipe();
    ASSERT_EQ(::write(ends[1], bytes.span().data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
    ::close(ends[1]);
    const int saved = ::dup(STDIN_FILENO);
    ::dup2(ends[0], STDIN_FILENO);
    const Recording recording = Recording::open("-");
    ::dup2(saved, STDIN_FILENO);
    ::close(saved);
    ::close(ends[0]);
    EXPECT_EQ(recording.name(), "standard input");
    EXPECT_EQ(recording.countOf(RecordType::Sample), 1u);
}

TEST(Recording, LeavesNoSpoolFileBehind)
{
    const Scratch folder;
    const Scratch fifo;
    fs::create_directory(folder.path);
    ASSERT_EQ(::mkfifo(fifo.path.c_str(), 0600), 0);
    std::thread writer([&] { fifo.write(smallFile().span()); });
    OpenOptions options;
    options.spoolFolder = folder.path.string();
    const Recording recording = Recording::open(fifo.path.string(), options);
    writer.join();
    EXPECT_TRUE(fs::is_empty(folder.path));
}

TEST(Recording, NamesTheFolderThatCannotHoldTheSpoolFile)
{
    const Scratch fifo;
    ASSERT_EQ(::mkfifo(fifo.path.c_str(), 0600), 0);
    std::thread writer([&] { fifo.write(smallFile().span()); });
    OpenOptions options;
    options.spoolFolder = "/no/such/folder";
    const std::string message = openPathError(fifo.path.string(), options);
    const int drain =
        ::open(fifo.path.c_str(), O_RDONLY | O_NONBLOCK); // lets the writer end in any case
    writer.join();
    ::close(drain);
    EXPECT_NE(message.find("no temporary file can be made in /no/such/folder"), std::string::npos)
        << message;
}

TEST(Recording, RefusesWhatIsNoFile)
{
    const Scratch missing;
    EXPECT_NE(openPathError(missing.path.string()).find(": cannot be opened: No such file"),
              std::string::npos);
    const Scratch folder;
    fs::create_directory(folder.path);
    EXPECT_EQ(openPathError(folder.path.string()),
              folder.path.string() + ": is a directory, not a perf.data file; name the file in it");
    const Scratch empty;
    empty.write({});
    EXPECT_EQ(openPathError(empty.path.string()), empty.path.string() + ": is empty; record again");
}

TEST(Recording, RefusesOtherFormats)
{
    EXPECT_EQ(openError(Bytes().chars("#!/bin/sh\necho this is a text\n")),
              "test: byte 0: not a perf.data file (its first 8 bytes are another's); give a file "
              "that 'perf record' wrote");
    EXPECT_EQ(openError(Bytes().chars("PERF")),
              "test: byte 0: too short for a perf.data file; record again");
}

TEST(Recording, RefusesBigEndianRecordings)
{
    EXPECT_EQ(openError(Bytes().chars("2ELIFREP").zeros(200)),
              "test: byte 0: recorded on a big-endian machine, which is not supported; "
              "use a recording of a little-endian machine");
}

TEST(Recording, RefusesARecordingWithoutEvents)
{
    const std::string message = openError(PerfFileBuilder().file());
    EXPECT_NE(message.find("describes no events"), std::string::npos) << message;
}

TEST(Recording, ReadsOldFilesWithTheirEventNames)
{
    AttrSpec spec = plainEvent();
    spec.type = 2;
    spec.config = 42;
    Bytes file = PerfFileBuilder().event(spec).add(9, plainSample(5)).file();
    std::memcpy(file.vector().data(), "PERFFILE", 8);
    file.overwrite<std::uint64_t>(56, file.size()); // where the names are
    file.overwrite<std::uint64_t>(64, 72);
    file.u64(42).chars("sched:sched_switch").zeros(64 - 18);
    const Recording recording = open(file);
    EXPECT_EQ(recording.container(), Container::FileVersion1);
    EXPECT_EQ(recording.events().at(0).name, "sched:sched_switch");
}

TEST(Recording, ReadsAttributesOfEverySize)
{
    for (const std::uint32_t size : {64u, 72u, 80u, 96u, 104u, 112u, 120u, 128u, 136u, 200u}) {
        AttrSpec spec = plainEvent();
        spec.size = size;
        spec.branchSampleType = 0x8;
        spec.regsUser = 0xff;
        spec.regsIntr = 0xaa;
        spec.ids = {11, 12};
        const PerfFileBuilder builder = PerfFileBuilder().event(spec).add(9, plainSample(5));
        for (const Bytes& bytes : {builder.file(), builder.pipe()}) {
            const Recording recording = open(bytes);
            const Event& event = recording.events().at(0);
            EXPECT_EQ(event.attr.size, size);
            EXPECT_EQ(event.ids, (std::vector<std::uint64_t>{11, 12})) << size;
            EXPECT_EQ(event.attr.branchSampleType, size >= 80 ? 0x8u : 0u) << size;
            EXPECT_EQ(event.attr.sampleRegsUser, size >= 96 ? 0xffu : 0u) << size;
            EXPECT_EQ(event.attr.sampleRegsIntr, size >= 104 ? 0xaau : 0u) << size;
            EXPECT_EQ(recording.eventById(12), &event);
            EXPECT_EQ(recording.eventById(13), nullptr);
        }
    }
}

TEST(Recording, FindsEventsByIdWithDifferentSampleTypes)
{
    AttrSpec narrow;
    narrow.sampleType = sampleBit::Identifier | sampleBit::Ip;
    narrow.ids = {1};
    AttrSpec wide;
    wide.sampleType = sampleBit::Identifier | sampleBit::Ip | sampleBit::Cpu;
    wide.ids = {2, 3};
    PerfFileBuilder builder;
    builder.event(narrow)
        .event(wide)
        .add(9, Bytes().words({3, 0x10, 4}))
        .add(9, Bytes().words({1, 0x20}));
    const Delivered got(builder.file());
    ASSERT_EQ(got.sink.samples.size(), 2u);
    EXPECT_EQ(got.sink.samples[0].event->index, 1u);
    EXPECT_EQ(got.sink.samples[0].cpu, 4u);
    EXPECT_EQ(got.sink.samples[1].event->index, 0u);
    EXPECT_FALSE(got.sink.samples[1].hasCpu());
}

TEST(Recording, FindsEventsThatKeepTheirIdsAtDifferentPlaces)
{
    AttrSpec early;
    early.sampleType = sampleBit::Ip | sampleBit::Id;
    early.ids = {1};
    AttrSpec late;
    late.sampleType = sampleBit::Ip | sampleBit::Time | sampleBit::Id;
    late.ids = {2};
    PerfFileBuilder builder;
    builder.event(early)
        .event(late)
        .add(9, Bytes().words({0x10, 1}))
        .add(9, Bytes().words({0x20, 500, 2}));
    const Delivered got(builder.file());
    ASSERT_EQ(got.sink.samples.size(), 2u);
    EXPECT_EQ(got.sink.samples[0].event->index, 0u);
    EXPECT_EQ(got.sink.samples[1].event->index, 1u);
    EXPECT_EQ(got.sink.samples[1].time, 500u);
}

TEST(Recording, CountsSamplesWhoseIdIsUnknown)
{
    AttrSpec spec;
    spec.sampleType = sampleBit::Identifier;
    spec.ids = {1};
    AttrSpec other = spec;
    other.ids = {2};
    PerfFileBuilder builder;
    builder.event(spec).event(other).add(9, Bytes().u64(2)).add(9, Bytes().u64(77)).add(9, Bytes());
    const Delivered got(builder.file());
    EXPECT_EQ(got.stats.samples, 1u);
    EXPECT_EQ(got.stats.unknownIdSamples, 2u);
    EXPECT_EQ(got.stats.read, 3u);
}

TEST(Recording, NeedsNoIdsForOneEventOrForEventsOfOneSampleType)
{
    AttrSpec spec = plainEvent();
    spec.sampleType |= sampleBit::Id;
    EXPECT_EQ(
        Delivered(PerfFileBuilder().event(spec).add(9, plainSample(1).u64(9)).file()).stats.samples,
        1u);
    PerfFileBuilder two;
    two.event(plainEvent()).event(plainEvent()).add(9, plainSample(1));
    const Delivered got(two.file());
    EXPECT_EQ(got.stats.samples, 1u);
    EXPECT_EQ(got.sink.samples.at(0).event->index, 0u);
}

TEST(Recording, DeliversWhatTheFilterAsksForAndCountsTheRest)
{
    const Bytes bytes = smallFile();
    const Delivered samples(bytes, Deliver::Samples);
    EXPECT_EQ(samples.stats.samples, 1u);
    EXPECT_EQ(samples.stats.sideBand, 0u);
    EXPECT_EQ(samples.stats.filtered, 1u);
    EXPECT_TRUE(samples.sink.comms.empty());
    const Delivered sideBand(bytes, Deliver::SideBand);
    EXPECT_EQ(sideBand.stats.sideBand, 1u);
    EXPECT_EQ(sideBand.stats.filtered, 1u);
    EXPECT_TRUE(sideBand.sink.samples.empty());
}

TEST(Recording, StopsWhenTheProgressHookSaysSo)
{
    const Bytes bytes = smallFile();
    OpenOptions refusing;
    refusing.progress = [](std::uint64_t, std::uint64_t) { return false; };
    EXPECT_THROW((void)open(bytes, refusing), ReadError);
    const Recording recording = open(bytes);
    RecordedSink sink;
    const DeliveryStats stats = recording.deliver(sink, {Deliver::All, refusing.progress});
    EXPECT_TRUE(stats.stopped);
    EXPECT_EQ(stats.samples, 0u);
    EXPECT_TRUE(sink.order.empty());
}

TEST(Recording, TellsProgressUpToTheEnd)
{
    const Bytes bytes = smallFile();
    const Recording recording = open(bytes);
    std::vector<std::uint64_t> steps;
    RecordedSink sink;
    recording.deliver(sink, {Deliver::All, [&](std::uint64_t done, std::uint64_t total) {
                                 EXPECT_EQ(total, 80u);
                                 steps.push_back(done);
                                 return true;
                             }});
    EXPECT_EQ(steps, (std::vector<std::uint64_t>{0, 80}));
}

TEST(Recording, LetsExceptionsOfTheSinkThrough)
{
    class Thrower : public RecordSink {
        void onSample(const Sample&) override { throw std::logic_error("sink"); }
    };
    const Bytes bytes = smallFile();
    const Recording recording = open(bytes);
    Thrower sink;
    EXPECT_THROW(recording.deliver(sink), std::logic_error);
}

TEST(Recording, ReadsToTheEndWhenTheRecorderWasKilled)
{
    PerfFileBuilder builder;
    builder.event(plainEvent()).add(9, plainSample(5)).add(9, plainSample(6));
    Bytes file = builder.file();
    file.overwrite<std::uint64_t>(48, 0); // size of the records
    const Delivered got(file);
    EXPECT_EQ(got.stats.samples, 2u);
    EXPECT_FALSE(got.recording.fault().has_value());
    ASSERT_EQ(got.recording.notes().size(), 1u);
    EXPECT_NE(got.recording.notes()[0].find("the recorder was stopped"), std::string::npos);
}

TEST(Recording, TellsTheArchitectureFromTheFeatures)
{
    const auto withArch = [](const char* arch, const char* cpuId) {
        PerfFileBuilder builder;
        builder.event(plainEvent());
        if (arch != nullptr) builder.feature(6, Bytes().featureText(arch));
        if (cpuId != nullptr) builder.feature(9, Bytes().featureText(cpuId));
        return builder.add(9, plainSample(1)).file();
    };
    const Bytes x86 = withArch("x86_64", nullptr);
    EXPECT_EQ(open(x86).architecture(), "x86_64");
    EXPECT_TRUE(open(x86).isX86_64());
    EXPECT_FALSE(open(withArch("aarch64", nullptr)).isX86_64());
    EXPECT_FALSE(open(withArch("i686", "GenuineIntel,6,1,1")).isX86_64());
    EXPECT_TRUE(open(withArch(nullptr, "AuthenticAMD,25,17,1")).isX86_64());
    EXPECT_FALSE(open(withArch(nullptr, "0x00000000410fd0c0")).isX86_64());
    EXPECT_TRUE(open(withArch(nullptr, nullptr)).isX86_64());
}

TEST(Recording, CanBeMovedWithItsEventsInPlace)
{
    const Bytes bytes = smallFile();
    Recording recording = open(bytes);
    const Event* event = &recording.events()[0];
    const Recording moved = std::move(recording);
    EXPECT_EQ(&moved.events()[0], event);
}

TEST(Recording, AppliesEventUpdates)
{
    AttrSpec spec = plainEvent();
    spec.ids = {5};
    PerfFileBuilder builder;
    builder.event(spec);
    builder.add(78, Bytes().u64(0).u64(5).paddedText("Joules"));
    builder.add(78, Bytes().u64(1).u64(5).put(0.5));
    builder.add(78, Bytes().u64(2).u64(5).paddedText("energy"));
    builder.add(78, Bytes().u64(3).u64(5).u16(0).u16(2).u16(1).u16(3));
    const Bytes bytes = builder.pipe();
    const Recording recording = open(bytes);
    const Event& event = recording.events().at(0);
    EXPECT_EQ(event.unit, "Joules");
    EXPECT_EQ(event.scale, 0.5);
    EXPECT_EQ(event.name, "energy");
    EXPECT_EQ(event.nameSource, NameSource::File);
    EXPECT_EQ(event.cpus, (std::vector<std::uint32_t>{1, 3}));
}

} // namespace
} // namespace samplefold::perfdata
