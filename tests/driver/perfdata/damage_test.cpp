// Damaged input: nothing crashes or hangs, what can be read is read, and the fault is named.

#include "driver/perfdata/oracle_case.h"
#include "driver/perfdata/test_recording.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace samplefold::perfdata {
namespace {

using testing::AttrSpec;
using testing::Bytes;
using testing::bytesOf;
using testing::Delivered;
using testing::open;
using testing::openError;
using testing::OracleCase;
using testing::PerfFileBuilder;
using testing::plainEvent;
using testing::plainSample;
using testing::RecordedSink;
using testing::sharedFolder;
namespace fs = std::filesystem;

/// Opens and delivers; the number of delivered records, or nullopt when the input is refused.
std::optional<std::uint64_t> readThrough(std::span<const std::byte> bytes)
{
    try {
        const Recording recording = Recording::fromBytes(bytes, "damaged");
        RecordedSink sink;
        const DeliveryStats stats = recording.deliver(sink);
        EXPECT_EQ(stats.read,
                  stats.samples + stats.sideBand + stats.badRecords + stats.unknownIdSamples);
        EXPECT_EQ(sink.order.size(), stats.samples + stats.sideBand);
        return sink.order.size();
    } catch (const ReadError& error) {
        EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
        EXPECT_TRUE(std::string(error.what()).starts_with("damaged: ")) << error.what();
        return std::nullopt;
    }
}

PerfFileBuilder twoSamples()
{
    PerfFileBuilder builder;
    builder.event(plainEvent()).add(9, plainSample(1)).add(9, plainSample(2));
    return builder;
}

void expectFault(const Bytes& bytes, std::uint64_t offset, const std::string& what,
                 std::uint64_t samplesBefore)
{
    const Delivered got(bytes);
    ASSERT_TRUE(got.recording.fault().has_value()) << what;
    EXPECT_EQ(got.recording.fault()->offset, offset);
    EXPECT_EQ(got.recording.fault()->text,
              "test: byte " + std::to_string(offset) + ": " + what +
                  "; what comes before is used, copy or record the file again for the rest");
    EXPECT_EQ(got.stats.samples, samplesBefore);
}

TEST(Damage, RecordOfSizeZeroStopsTheReading)
{
    PerfFileBuilder builder = twoSamples();
    const std::uint64_t at = builder.recordsOffset() + builder.records().size();
    builder.addRaw(Bytes().u32(9).u16(0).u16(0)).add(9, plainSample(3));
    expectFault(builder.file(), at, "a record has an impossible size", 2);
}

TEST(Damage, RecordBeyondTheEndStopsTheReading)
{
    PerfFileBuilder builder = twoSamples();
    const std::uint64_t at = builder.recordsOffset() + builder.records().size();
    builder.addRaw(Bytes().u32(9).u16(0).u16(64).u64(0));
    expectFault(builder.file(), at, "a record reaches beyond the end", 2);
}

TEST(Damage, HeadOfARecordThatIsCutStopsTheReading)
{
    PerfFileBuilder builder = twoSamples();
    const std::uint64_t at = builder.recordsOffset() + builder.records().size();
    builder.addRaw(Bytes().u32(9));
    expectFault(builder.file(), at, "the head of a record is cut", 2);
}

TEST(Damage, TraceBeyondTheEndStopsTheReading)
{
    PerfFileBuilder builder = twoSamples();
    const std::uint64_t at = builder.recordsOffset() + builder.records().size();
    builder.add(71, Bytes().u64(UINT64_MAX).zeros(32));
    expectFault(builder.file(), at, "the data after a record reaches beyond the end", 2);
}

TEST(Damage, FileThatEndsBetweenRecordsIsAFault)
{
    Bytes file = twoSamples().file();
    const std::size_t at = file.size() - 40;
    file.vector().resize(at);
    expectFault(file, at, "the file ends before its records do", 1);
}

TEST(Damage, TrailingBytesAfterTheSectionsAreNoFault)
{
    const Delivered got(twoSamples().file().chars("trailing junk"));
    EXPECT_FALSE(got.recording.fault().has_value());
    EXPECT_EQ(got.stats.samples, 2u);
}

TEST(Damage, RecordsThatStartBeyondTheEndAreRefused)
{
    Bytes file = twoSamples().file();
    file.overwrite<std::uint64_t>(40, UINT64_MAX - 10);
    EXPECT_NE(
        openError(file).find("byte 40: the records are said to start at byte 18446744073709551605"),
        std::string::npos);
}

TEST(Damage, BillionsOfAttributesAreClippedToTheFile)
{
    Bytes file = twoSamples().file();
    file.overwrite<std::uint64_t>(32, UINT64_MAX / 2); // size of the attributes
    const Recording recording = open(file);
    EXPECT_EQ(recording.countOf(RecordType::Sample), 2u);
    EXPECT_LT(recording.events().size(), 5u);
    EXPECT_NE(recording.notes().at(0).find("reaches beyond the end"), std::string::npos);
}

TEST(Damage, ImpossibleAttributeSizesLeaveNoEvents)
{
    for (const std::uint64_t size :
         {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{79}, UINT64_MAX}) {
        Bytes file = twoSamples().file();
        file.overwrite<std::uint64_t>(16, size);
        EXPECT_NE(openError(file).find("describes no events"), std::string::npos) << size;
    }
}

TEST(Damage, IdsThatShareBytesCannotMultiply)
{
    // 100 attributes that all claim the same 8000 bytes of ids.
    PerfFileBuilder builder;
    AttrSpec spec = plainEvent();
    for (std::uint64_t id = 1; id <= 1000; ++id)
        spec.ids.push_back(id);
    builder.event(spec);
    spec.ids.clear();
    for (int index = 0; index < 99; ++index)
        builder.event(spec);
    Bytes file = builder.add(9, plainSample(1)).file();
    const std::size_t attrsAt = PerfFileBuilder::headSize + 8000;
    for (std::size_t index = 1; index < 100; ++index) {
        file.overwrite<std::uint64_t>(attrsAt + index * 144 + 128, PerfFileBuilder::headSize);
        file.overwrite<std::uint64_t>(attrsAt + index * 144 + 136, 8000);
    }
    const Recording recording = open(file);
    std::size_t ids = 0;
    for (const Event& event : recording.events())
        ids += event.ids.size();
    EXPECT_EQ(ids, 1000u);
    EXPECT_GE(recording.notes().size(), 50u);
}

/// A pipe and a file with most kinds of records and features.
std::vector<Bytes> variedInputs()
{
    AttrSpec spec = plainEvent();
    spec.sampleType |= sampleBit::Identifier | sampleBit::Callchain | sampleBit::BranchStack |
                       sampleBit::StackUser;
    spec.ids = {1};
    AttrSpec other = spec;
    other.ids = {2};
    PerfFileBuilder builder;
    builder.event(spec).event(other);
    const auto trailer = [](Bytes& body, std::uint64_t time) -> Bytes& {
        return body.u32(1).u32(2).u64(time).u64(1);
    };
    Bytes mmap;
    mmap.u32(1).u32(2).words({0x1000, 0x1000, 0}).zeros(24).u32(5).u32(2).paddedText("/bin/x");
    builder.add(10, trailer(mmap, 4));
    Bytes sample;
    sample.u64(2)
        .u64(0x10)
        .u32(1)
        .u32(2)
        .u64(3)
        .u64(1)
        .words({2, 0x10, 0x20})
        .words({1, 1, 2, 3})
        .words({8, 0, 8});
    builder.add(9, sample);
    builder.add(71, Bytes().u64(8).zeros(32)).addRaw(Bytes().u64(0));
    builder.add(73, Bytes().u64(1).u64(2).zeros(16)).add(69, Bytes().words({1, 2, 1, 0, 0}));
    builder.add(80, Bytes().u64(3).featureText("h"));
    builder.feature(3, Bytes().featureText("host")).feature(7, Bytes().u32(1).u32(1));
    builder.feature(11, Bytes().u32(1).featureText("perf"));
    return {builder.file(), builder.pipe()};
}

TEST(Damage, EveryPrefixIsReadOrRefused)
{
    for (const Bytes& whole : variedInputs()) {
        std::uint64_t most = 0;
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            const std::vector<std::byte> prefix(
                whole.span().begin(), whole.span().begin() + static_cast<std::ptrdiff_t>(length));
            const std::optional<std::uint64_t> delivered = readThrough(prefix);
            if (delivered) {
                EXPECT_GE(*delivered, most) << "a longer prefix gives less at " << length;
                most = *delivered;
            }
        }
        EXPECT_GE(most, 5u);
    }
}

TEST(Damage, EveryChangedByteIsReadOrRefused)
{
    for (const Bytes& whole : variedInputs()) {
        std::size_t readable = 0;
        for (std::size_t at = 0; at < whole.size(); ++at) {
            for (const unsigned change : {0x01u, 0x80u, 0xffu}) {
                std::vector<std::byte> changed(whole.span().begin(), whole.span().end());
                changed[at] ^= static_cast<std::byte>(change);
                readable += readThrough(changed).has_value() ? 1u : 0u;
            }
        }
        EXPECT_GT(readable, whole.size()) << "most bytes do not matter for opening";
    }
}

TEST(Damage, PrefixesOfRecordingsAreReadOrRefused)
{
    for (const char* name : {"deeptree-zstd", "deeptree-group-read", "stat-total"}) {
        const OracleCase oracle{name, fs::path(SF_TEST_DATA_DIR) / "perf" / name};
        const std::string content = oracle.load("perf.data").value();
        std::optional<std::uint64_t> last;
        for (std::size_t length = 0; length <= content.size(); length += 97) {
            const std::string prefix = content.substr(0, length);
            last = readThrough(bytesOf(prefix));
        }
        EXPECT_TRUE(last.has_value()) << name;
    }
}

TEST(Damage, ChangedBytesOfRecordingsAreReadOrRefused)
{
    for (const char* name : {"deeptree-zstd", "deeptree-group-read", "stat-total"}) {
        const OracleCase oracle{name, fs::path(SF_TEST_DATA_DIR) / "perf" / name};
        std::string content = oracle.load("perf.data").value();
        std::size_t readable = 0;
        std::size_t tried = 0;
        for (std::size_t at = 0; at < content.size(); at += 61, ++tried) {
            content[at] = static_cast<char>(content[at] ^ 0x5a);
            readable += readThrough(bytesOf(content)).has_value() ? 1u : 0u;
            content[at] = static_cast<char>(content[at] ^ 0x5a);
        }
        EXPECT_GT(readable, tried / 2) << name;
    }
}

TEST(Damage, FilesThatBrokeOtherReadersAreReadOrRefused)
{
    const fs::path folder = sharedFolder() / "damaged";
    if (!fs::is_directory(folder))
        GTEST_SKIP() << "the larger collection is not in " << sharedFolder();
    std::size_t refused = 0;
    std::size_t files = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        std::ifstream in(entry.path(), std::ios::binary);
        std::ostringstream content;
        content << in.rdbuf();
        const std::string bytes = content.str();
        refused += readThrough(bytesOf(bytes)).has_value() ? 0u : 1u;
        ++files;
    }
    EXPECT_EQ(files, 12u);
    EXPECT_EQ(refused, 7u);
}

} // namespace
} // namespace samplefold::perfdata
