// Compressed recordings.

#include "driver/perfdata/test_recording.h"

#include <gtest/gtest.h>

#include <zstd.h>

namespace samplefold::perfdata {
namespace {

using testing::Bytes;
using testing::Delivered;
using testing::open;
using testing::PerfFileBuilder;
using testing::plainComm;
using testing::plainEvent;
using testing::plainSample;
using testing::record;

/// One zstd stream, flushed at every piece, the way recorders write it.
class Compressor {
public:
    Compressor() : m_stream(ZSTD_createCStream()) { ZSTD_initCStream(m_stream, 1); }
    ~Compressor() { ZSTD_freeCStream(m_stream); }
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    Bytes compress(std::span<const std::byte> plain)
    {
        Bytes out;
        out.zeros(ZSTD_compressBound(plain.size()) + 64);
        ZSTD_inBuffer input = {plain.data(), plain.size(), 0};
        ZSTD_outBuffer output = {out.vector().data(), out.size(), 0};
        while (input.pos < input.size)
            EXPECT_FALSE(ZSTD_isError(ZSTD_compressStream(m_stream, &output, &input)));
        EXPECT_EQ(ZSTD_flushStream(m_stream, &output), 0u);
        out.vector().resize(output.pos);
        return out;
    }

private:
    ZSTD_CStream* m_stream;
};

Bytes threeSamples()
{
    PerfFileBuilder builder;
    builder.add(9, plainSample(30, 1)).add(9, plainSample(10, 2)).add(9, plainSample(20, 3));
    return builder.records();
}

std::vector<std::uint64_t> ipsOf(const Delivered& got)
{
    std::vector<std::uint64_t> ips;
    for (const Sample& sample : got.sink.samples)
        ips.push_back(sample.ip);
    return ips;
}

TEST(Compressed, RecordsAreExpandedInFilesAndPipes)
{
    Compressor compressor;
    PerfFileBuilder builder;
    builder.event(plainEvent())
        .add(81, compressor.compress(threeSamples().span()))
        .add(3, plainComm(40));
    for (const Bytes& bytes : {builder.file(), builder.pipe()}) {
        const Delivered got(bytes);
        EXPECT_EQ(ipsOf(got), (std::vector<std::uint64_t>{2, 3, 1}));
        EXPECT_EQ(got.sink.comms.size(), 1u);
        EXPECT_EQ(got.recording.countOf(RecordType::Compressed), 1u);
        EXPECT_EQ(got.recording.countOf(RecordType::Sample), 3u);
        EXPECT_EQ(got.recording.events().size(), 1u);
        EXPECT_FALSE(got.recording.offsetsAreInFile());
        EXPECT_FALSE(got.recording.fault().has_value());
    }
}

TEST(Compressed, RecordSplitOverTwoIsJoinedAroundPlainOnes)
{
    const Bytes plain = threeSamples();
    for (std::size_t cut = 1; cut < plain.size(); ++cut) {
        Compressor compressor;
        PerfFileBuilder builder;
        builder.event(plainEvent());
        builder.add(81, compressor.compress(plain.span().first(cut))).add(68, Bytes());
        builder.add(81, compressor.compress(plain.span().subspan(cut)));
        const Delivered got(builder.file());
        ASSERT_EQ(ipsOf(got), (std::vector<std::uint64_t>{2, 3, 1})) << "cut at " << cut;
        ASSERT_FALSE(got.recording.fault().has_value());
        ASSERT_EQ(got.recording.countOf(RecordType::FinishedRound), 1u);
    }
}

TEST(Compressed, SecondFormCarriesItsSizeAndPadding)
{
    Compressor compressor;
    const Bytes payload = compressor.compress(threeSamples().span());
    Bytes body;
    body.u64(payload.size()).append(payload).zeros(16);
    const Delivered got(PerfFileBuilder().event(plainEvent()).add(83, body).file());
    EXPECT_EQ(ipsOf(got), (std::vector<std::uint64_t>{2, 3, 1}));
    EXPECT_EQ(got.recording.countOf(RecordType::Compressed2), 1u);
}

TEST(Compressed, DamageKeepsWhatCameBefore)
{
    Compressor compressor;
    PerfFileBuilder builder;
    builder.event(plainEvent()).add(81, compressor.compress(threeSamples().span()));
    const std::size_t badAt = builder.recordsOffset() + builder.records().size();
    builder.add(81, Bytes().chars("this is no zstd data at all.")).add(9, plainSample(50));
    const Delivered got(builder.file());
    EXPECT_EQ(got.stats.samples, 3u);
    ASSERT_TRUE(got.recording.fault().has_value());
    EXPECT_EQ(got.recording.fault()->offset, badAt);
    EXPECT_EQ(got.recording.fault()->text,
              "test: byte " + std::to_string(badAt) +
                  ": compressed data is damaged; "
                  "what comes before is used, copy or record the file again for the rest");
}

TEST(Compressed, EndWithinARecordIsAFault)
{
    Compressor compressor;
    const Bytes plain = threeSamples();
    PerfFileBuilder builder;
    builder.event(plainEvent()).add(81, compressor.compress(plain.span().first(plain.size() - 4)));
    const Delivered got(builder.file());
    EXPECT_EQ(got.stats.samples, 2u);
    ASSERT_TRUE(got.recording.fault().has_value());
    EXPECT_NE(got.recording.fault()->text.find("ends within a record"), std::string::npos);
}

TEST(Compressed, SizeZeroInTheExpandedRecordsIsAFault)
{
    Compressor compressor;
    Bytes plain = threeSamples();
    plain.zeros(16);
    const Delivered got(
        PerfFileBuilder().event(plainEvent()).add(81, compressor.compress(plain.span())).file());
    EXPECT_EQ(got.stats.samples, 3u);
    ASSERT_TRUE(got.recording.fault().has_value());
    EXPECT_NE(got.recording.fault()->text.find("a compressed record has an impossible size"),
              std::string::npos);
}

/// A pipe whose compressed records expand to many times their size.
Bytes bomb(std::size_t pieces)
{
    Compressor compressor;
    PerfFileBuilder builder;
    builder.event(plainEvent());
    Bytes samples;
    for (int index = 0; index < 1000; ++index)
        samples.append(record(9, plainSample(7)));
    for (std::size_t piece = 0; piece < pieces; ++piece)
        builder.add(81, compressor.compress(samples.span()));
    return builder.pipe();
}

TEST(Compressed, ExpansionStopsAtTheLimitAsked)
{
    const Bytes bytes = bomb(10);
    OpenOptions options;
    options.maxExpandedBytes = 100'000;
    const Recording recording = open(bytes, options);
    EXPECT_LE(recording.recordBytes(), 100'000u);
    EXPECT_GE(recording.countOf(RecordType::Sample), 2400u);
    ASSERT_TRUE(recording.fault().has_value());
    EXPECT_NE(recording.fault()->text.find("expand beyond all measure"), std::string::npos);
}

TEST(Compressed, ExpansionStopsFarBeyondAnyRealRatio)
{
    const Bytes bytes = bomb(2500); // 100 MB out of less than 100 KB
    ASSERT_LT(bytes.size() * 1000, 100'000'000u);
    const Recording recording = open(bytes);
    EXPECT_TRUE(recording.fault().has_value());
    EXPECT_LE(recording.recordBytes(), std::max<std::uint64_t>(bytes.size() * 1000, 64u << 20));
}

} // namespace
} // namespace samplefold::perfdata
