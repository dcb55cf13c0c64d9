#include "perfdata/record_bodies.h"

#include "perfdata/cpu_map.h"
#include "perfdata/feature_parser.h"
#include "perfdata/record_stream.h"

namespace samplefold::perfdata {

namespace {

constexpr std::size_t threadCommSize = 16;
constexpr std::size_t auxtraceMessageSize = 64;
constexpr std::size_t threadEntrySize = 8 + threadCommSize;
constexpr std::uint64_t statRoundFinal = 1;

} // namespace

bool decodeBuildId(ByteReader& reader, BuildIdRecord& record)
{
    return parseBuildId(record.misc, reader.bytes(reader.left()), record);
}

bool decodeIdIndex(ByteReader& reader, IdIndexRecord& record)
{
    record.entries = reader.array<IdIndexEntry>(reader.take<std::uint64_t>());
    return reader.ok();
}

bool decodeAuxtraceInfo(ByteReader& reader, AuxtraceInfoRecord& record)
{
    record.kind = reader.take<std::uint32_t>();
    reader.skip(4);
    const bool whole = reader.ok();
    record.priv = reader.bytes(reader.left());
    return whole;
}

bool decodeAuxtrace(ByteReader& reader, AuxtraceRecord& record)
{
    const std::byte* start = reader.at() - recordHeadSize;
    const auto traceSize = reader.take<std::uint64_t>();
    record.auxOffset = reader.take<std::uint64_t>();
    record.reference = reader.take<std::uint64_t>();
    record.index = reader.take<std::uint32_t>();
    record.tid = reader.take<std::int32_t>();
    record.traceCpu = reader.take<std::uint32_t>();
    // The walk over the stream has verified that the trace lies in it.
    record.trace = {start + record.size, static_cast<std::size_t>(traceSize)};
    return reader.ok();
}

bool decodeAuxtraceError(ByteReader& reader, AuxtraceErrorRecord& record)
{
    record.kind = reader.take<std::uint32_t>();
    record.code = reader.take<std::uint32_t>();
    const auto cpu = reader.take<std::uint32_t>();
    record.pid = reader.take<std::int32_t>();
    record.tid = reader.take<std::int32_t>();
    const auto format = reader.take<std::uint32_t>();
    record.ip = reader.take<std::uint64_t>();
    record.cpu = cpu;
    if (format == 0) {
        record.message = reader.text(std::min(reader.left(), auxtraceMessageSize));
        return reader.ok();
    }
    record.time = reader.take<std::uint64_t>();
    record.message = reader.text(std::min(reader.left(), auxtraceMessageSize));
    return reader.ok();
}

bool decodeThreadMap(ByteReader& reader, ThreadMapRecord& record)
{
    const auto count = reader.take<std::uint64_t>();
    if (count > reader.left() / threadEntrySize) return false;
    for (std::uint64_t index = 0; index < count; ++index) {
        const auto tid = reader.take<std::int64_t>();
        record.threads.push_back({static_cast<std::int32_t>(tid), reader.text(threadCommSize)});
    }
    return reader.ok();
}

bool decodeCpuMapRecord(ByteReader& reader, CpuMapRecord& record)
{
    return decodeCpuMap(reader.bytes(reader.left()), record.cpus);
}

bool decodeStatConfig(ByteReader& reader, StatConfigRecord& record)
{
    record.entries = reader.array<StatConfigEntry>(reader.take<std::uint64_t>());
    return reader.ok();
}

bool decodeStat(ByteReader& reader, StatRecord& record)
{
    record.id = reader.take<std::uint64_t>();
    record.counterCpu = reader.take<std::uint32_t>();
    record.threadIndex = reader.take<std::uint32_t>();
    record.value = reader.take<std::uint64_t>();
    record.timeEnabled = reader.take<std::uint64_t>();
    record.timeRunning = reader.take<std::uint64_t>();
    return reader.ok();
}

bool decodeStatRound(ByteReader& reader, StatRoundRecord& record)
{
    record.isFinal = reader.take<std::uint64_t>() == statRoundFinal;
    record.roundTime = reader.take<std::uint64_t>();
    return reader.ok();
}

bool decodeTimeConv(ByteReader& reader, TimeConvRecord& record)
{
    record.shift = reader.take<std::uint64_t>();
    record.mult = reader.take<std::uint64_t>();
    record.zero = reader.take<std::uint64_t>();
    if (!reader.ok()) return false;
    // Older records end here.
    record.cycles = reader.take<std::uint64_t>();
    record.mask = reader.take<std::uint64_t>();
    record.capUserTimeZero = reader.take<std::uint8_t>() != 0;
    record.capUserTimeShort = reader.take<std::uint8_t>() != 0;
    return true;
}

bool decodeOther(ByteReader& reader, OtherRecord& record)
{
    record.body = reader.bytes(reader.left());
    return true;
}

} // namespace samplefold::perfdata
