// The bodies of the record types: each operation fills a record from the bytes after its head.
#pragma once

#include "perfdata/byte_reader.h"
#include "perfdata/records.h"

namespace samplefold::perfdata {

/// Each reads one kind of body, in the order of the file. `reader` covers the body without its
/// trailer; the result is false when the body is too short or contradicts itself. Views in the
/// record point into the reader's bytes. The base part of the record is filled before.
[[nodiscard]] bool decodeMmap(ByteReader& reader, MmapRecord& record);
[[nodiscard]] bool decodeComm(ByteReader& reader, CommRecord& record);
[[nodiscard]] bool decodeTask(ByteReader& reader, TaskRecord& record);
[[nodiscard]] bool decodeLost(ByteReader& reader, LostRecord& record);
[[nodiscard]] bool decodeThrottle(ByteReader& reader, ThrottleRecord& record);
[[nodiscard]] bool decodeRead(ByteReader& reader, ReadRecord& record);
[[nodiscard]] bool decodeSwitch(ByteReader& reader, SwitchRecord& record);
[[nodiscard]] bool decodeNamespaces(ByteReader& reader, NamespacesRecord& record);
[[nodiscard]] bool decodeCgroup(ByteReader& reader, CgroupRecord& record);
[[nodiscard]] bool decodeKsymbol(ByteReader& reader, KsymbolRecord& record);
[[nodiscard]] bool decodeBpfEvent(ByteReader& reader, BpfEventRecord& record);
[[nodiscard]] bool decodeTextPoke(ByteReader& reader, TextPokeRecord& record);
[[nodiscard]] bool decodeAux(ByteReader& reader, AuxRecord& record);
[[nodiscard]] bool decodeItraceStart(ByteReader& reader, ItraceStartRecord& record);
[[nodiscard]] bool decodeAuxOutputHwId(ByteReader& reader, AuxOutputHwIdRecord& record);
[[nodiscard]] bool decodeCallchainDeferred(ByteReader& reader, CallchainDeferredRecord& record);

[[nodiscard]] bool decodeBuildId(ByteReader& reader, BuildIdRecord& record);
[[nodiscard]] bool decodeIdIndex(ByteReader& reader, IdIndexRecord& record);
[[nodiscard]] bool decodeAuxtraceInfo(ByteReader& reader, AuxtraceInfoRecord& record);
[[nodiscard]] bool decodeAuxtrace(ByteReader& reader, AuxtraceRecord& record);
[[nodiscard]] bool decodeAuxtraceError(ByteReader& reader, AuxtraceErrorRecord& record);
[[nodiscard]] bool decodeThreadMap(ByteReader& reader, ThreadMapRecord& record);
[[nodiscard]] bool decodeCpuMapRecord(ByteReader& reader, CpuMapRecord& record);
[[nodiscard]] bool decodeStatConfig(ByteReader& reader, StatConfigRecord& record);
[[nodiscard]] bool decodeStat(ByteReader& reader, StatRecord& record);
[[nodiscard]] bool decodeStatRound(ByteReader& reader, StatRoundRecord& record);
[[nodiscard]] bool decodeTimeConv(ByteReader& reader, TimeConvRecord& record);
[[nodiscard]] bool decodeOther(ByteReader& reader, OtherRecord& record);

} // namespace samplefold::perfdata
