#include "perfdata/record_bodies.h"

#include "perfdata/sample_decoder.h"

#include <algorithm>
#include <cstring>

namespace samplefold::perfdata {

namespace {

constexpr std::uint16_t miscMmapData = 1u << 13;
constexpr std::uint16_t miscMmapBuildId = 1u << 14;
constexpr std::uint32_t protectionExec = 4;
constexpr std::uint8_t longestBuildId = 20;
constexpr std::size_t bpfTagSize = 8;

void takeTask(ByteReader& reader, std::int32_t& pid, std::int32_t& tid)
{
    pid = reader.take<std::int32_t>();
    tid = reader.take<std::int32_t>();
}

void takeMmapBuildId(ByteReader& reader, MmapRecord& record)
{
    BuildIdBytes id;
    id.size = std::min(reader.take<std::uint8_t>(), longestBuildId);
    reader.skip(3);
    const std::span<const std::byte> bytes = reader.bytes(longestBuildId);
    if (!reader.ok()) return;
    std::memcpy(id.bytes, bytes.data(), id.size);
    record.buildId = id;
}

void takeMmapFile(ByteReader& reader, MmapRecord& record)
{
    record.devMajor = reader.take<std::uint32_t>();
    record.devMinor = reader.take<std::uint32_t>();
    record.inode = reader.take<std::uint64_t>();
    record.inodeGeneration = reader.take<std::uint64_t>();
}

} // namespace

bool MmapRecord::isData() const noexcept
{
    return (misc & miscMmapData) != 0 || (isMmap2 && (protection & protectionExec) == 0);
}

bool decodeMmap(ByteReader& reader, MmapRecord& record)
{
    takeTask(reader, record.pid, record.tid);
    record.start = reader.take<std::uint64_t>();
    record.length = reader.take<std::uint64_t>();
    record.pageOffset = reader.take<std::uint64_t>();
    record.isMmap2 = record.type == RecordType::Mmap2;
    if (record.isMmap2) {
        if ((record.misc & miscMmapBuildId) != 0)
            takeMmapBuildId(reader, record);
        else
            takeMmapFile(reader, record);
        record.protection = reader.take<std::uint32_t>();
        record.flags = reader.take<std::uint32_t>();
    }
    record.filename = reader.restAsText();
    return reader.ok();
}

bool decodeComm(ByteReader& reader, CommRecord& record)
{
    takeTask(reader, record.pid, record.tid);
    record.comm = reader.restAsText();
    return reader.ok();
}

bool decodeTask(ByteReader& reader, TaskRecord& record)
{
    takeTask(reader, record.pid, record.parentPid);
    takeTask(reader, record.tid, record.parentTid);
    record.taskTime = reader.take<std::uint64_t>();
    if (!record.time) record.time = record.taskTime;
    return reader.ok();
}

bool decodeLost(ByteReader& reader, LostRecord& record)
{
    if (record.type == RecordType::Lost) record.lostId = reader.take<std::uint64_t>();
    record.lost = reader.take<std::uint64_t>();
    return reader.ok();
}

bool decodeThrottle(ByteReader& reader, ThrottleRecord& record)
{
    record.throttleTime = reader.take<std::uint64_t>();
    record.throttleId = reader.take<std::uint64_t>();
    record.streamId = reader.take<std::uint64_t>();
    if (!record.time) record.time = record.throttleTime;
    return reader.ok();
}

bool decodeRead(ByteReader& reader, ReadRecord& record)
{
    takeTask(reader, record.pid, record.tid);
    record.values =
        takeReadValues(reader, record.event != nullptr ? record.event->attr.readFormat : 0);
    return reader.ok();
}

bool decodeSwitch(ByteReader& reader, SwitchRecord& record)
{
    if (record.type != RecordType::SwitchCpuWide) return true;
    record.otherPid = reader.take<std::int32_t>();
    record.otherTid = reader.take<std::int32_t>();
    return reader.ok();
}

bool decodeNamespaces(ByteReader& reader, NamespacesRecord& record)
{
    takeTask(reader, record.pid, record.tid);
    record.links = reader.array<NamespaceLink>(reader.take<std::uint64_t>());
    return reader.ok();
}

bool decodeCgroup(ByteReader& reader, CgroupRecord& record)
{
    record.cgroupId = reader.take<std::uint64_t>();
    record.path = reader.restAsText();
    return reader.ok();
}

bool decodeKsymbol(ByteReader& reader, KsymbolRecord& record)
{
    record.address = reader.take<std::uint64_t>();
    record.length = reader.take<std::uint32_t>();
    record.symbolType = reader.take<std::uint16_t>();
    record.flags = reader.take<std::uint16_t>();
    record.name = reader.restAsText();
    return reader.ok();
}

bool decodeBpfEvent(ByteReader& reader, BpfEventRecord& record)
{
    record.eventType = reader.take<std::uint16_t>();
    record.flags = reader.take<std::uint16_t>();
    record.programId = reader.take<std::uint32_t>();
    record.tag = reader.bytes(bpfTagSize);
    return reader.ok();
}

bool decodeTextPoke(ByteReader& reader, TextPokeRecord& record)
{
    record.address = reader.take<std::uint64_t>();
    const auto oldSize = reader.take<std::uint16_t>();
    const auto newSize = reader.take<std::uint16_t>();
    record.oldBytes = reader.bytes(oldSize);
    record.newBytes = reader.bytes(newSize);
    return reader.ok();
}

bool decodeAux(ByteReader& reader, AuxRecord& record)
{
    record.auxOffset = reader.take<std::uint64_t>();
    record.auxSize = reader.take<std::uint64_t>();
    record.flags = reader.take<std::uint64_t>();
    return reader.ok();
}

bool decodeItraceStart(ByteReader& reader, ItraceStartRecord& record)
{
    takeTask(reader, record.pid, record.tid);
    return reader.ok();
}

bool decodeAuxOutputHwId(ByteReader& reader, AuxOutputHwIdRecord& record)
{
    record.hwId = reader.take<std::uint64_t>();
    return reader.ok();
}

bool decodeCallchainDeferred(ByteReader& reader, CallchainDeferredRecord& record)
{
    record.cookie = reader.take<std::uint64_t>();
    record.callchain = reader.array<std::uint64_t>(reader.take<std::uint64_t>());
    return reader.ok();
}

} // namespace samplefold::perfdata
