#include "perfdata/record_decoder.h"

#include "perfdata/byte_reader.h"
#include "perfdata/record_bodies.h"

namespace samplefold::perfdata {

namespace {

/// Fills the base from a trailer that starts at the reader, in the order task, time, id, stream,
/// CPU, identifier.
void readTrailer(ByteReader reader, std::uint64_t fields, RecordBase& base)
{
    if ((fields & sampleBit::Tid) != 0) {
        base.taskPid = reader.take<std::int32_t>();
        base.taskTid = reader.take<std::int32_t>();
    }
    if ((fields & sampleBit::Time) != 0) base.time = reader.take<std::uint64_t>();
    if ((fields & sampleBit::Id) != 0) base.id = reader.take<std::uint64_t>();
    if ((fields & sampleBit::StreamId) != 0) reader.skip(8);
    if ((fields & sampleBit::Cpu) != 0)
        base.cpu = static_cast<std::uint32_t>(reader.take<std::uint64_t>());
    if ((fields & sampleBit::Identifier) != 0) base.id = reader.take<std::uint64_t>();
}

} // namespace

ByteReader RecordDecoder::openBody(const RecordView& record, std::uint64_t offset, RecordBase& base)
{
    base.offset = offset;
    base.type = record.kind();
    base.misc = record.misc;
    base.size = record.size;
    const std::uint32_t event = m_locator.trailerEvent(record);
    if (event == RecordLocator::unknown) return ByteReader(record.bodyBytes());
    const SampleLayout& layout = m_locator.layout(event);
    if (record.bodySize() < layout.trailerSize) {
        ByteReader cut(record.bodyBytes());
        cut.fail();
        return cut;
    }
    const std::size_t bodySize = record.bodySize() - layout.trailerSize;
    readTrailer(ByteReader(record.body() + bodySize, layout.trailerSize), layout.sampleType, base);
    base.event = &m_events[event];
    return ByteReader(record.body(), bodySize);
}

template <class Record>
bool RecordDecoder::decodeAndPass(const RecordView& record, std::uint64_t offset, RecordSink& sink,
                                  bool (*decode)(ByteReader&, Record&),
                                  void (RecordSink::*pass)(const Record&))
{
    Record decoded;
    ByteReader body = openBody(record, offset, decoded);
    if (!body.ok() || !decode(body, decoded)) return false;
    (sink.*pass)(decoded);
    return true;
}

bool RecordDecoder::dispatch(const RecordView& record, std::uint64_t offset, RecordSink& sink)
{
    return record.isFromKernel() ? dispatchKernel(record, offset, sink)
                                 : dispatchSynthetic(record, offset, sink);
}

bool RecordDecoder::dispatchKernel(const RecordView& record, std::uint64_t offset, RecordSink& sink)
{
    const auto pass = [&](auto decode, auto operation) {
        return decodeAndPass(record, offset, sink, decode, operation);
    };
    switch (record.kind()) {
    case RecordType::Mmap:
    case RecordType::Mmap2:
        return pass(decodeMmap, &RecordSink::onMmap);
    case RecordType::Lost:
        return pass(decodeLost, &RecordSink::onLost);
    case RecordType::LostSamples:
        return pass(decodeLost, &RecordSink::onLostSamples);
    case RecordType::Comm:
        return pass(decodeComm, &RecordSink::onComm);
    case RecordType::Fork:
        return pass(decodeTask, &RecordSink::onFork);
    case RecordType::Exit:
        return pass(decodeTask, &RecordSink::onExit);
    case RecordType::Throttle:
    case RecordType::Unthrottle:
        return pass(decodeThrottle, &RecordSink::onThrottle);
    case RecordType::Read:
        return pass(decodeRead, &RecordSink::onRead);
    case RecordType::Switch:
    case RecordType::SwitchCpuWide:
        return pass(decodeSwitch, &RecordSink::onSwitch);
    case RecordType::Namespaces:
        return pass(decodeNamespaces, &RecordSink::onNamespaces);
    case RecordType::Cgroup:
        return pass(decodeCgroup, &RecordSink::onCgroup);
    case RecordType::Ksymbol:
        return pass(decodeKsymbol, &RecordSink::onKsymbol);
    case RecordType::BpfEvent:
        return pass(decodeBpfEvent, &RecordSink::onBpfEvent);
    case RecordType::TextPoke:
        return pass(decodeTextPoke, &RecordSink::onTextPoke);
    case RecordType::Aux:
        return pass(decodeAux, &RecordSink::onAux);
    case RecordType::ItraceStart:
        return pass(decodeItraceStart, &RecordSink::onItraceStart);
    case RecordType::AuxOutputHwId:
        return pass(decodeAuxOutputHwId, &RecordSink::onAuxOutputHwId);
    case RecordType::CallchainDeferred:
        return pass(decodeCallchainDeferred, &RecordSink::onCallchainDeferred);
    default:
        return pass(decodeOther, &RecordSink::onOther);
    }
}

bool RecordDecoder::dispatchSynthetic(const RecordView& record, std::uint64_t offset,
                                      RecordSink& sink)
{
    const auto pass = [&](auto decode, auto operation) {
        return decodeAndPass(record, offset, sink, decode, operation);
    };
    switch (record.kind()) {
    case RecordType::BuildId:
        return pass(decodeBuildId, &RecordSink::onBuildId);
    case RecordType::IdIndex:
        return pass(decodeIdIndex, &RecordSink::onIdIndex);
    case RecordType::AuxtraceInfo:
        return pass(decodeAuxtraceInfo, &RecordSink::onAuxtraceInfo);
    case RecordType::Auxtrace:
        return pass(decodeAuxtrace, &RecordSink::onAuxtrace);
    case RecordType::AuxtraceError:
        return pass(decodeAuxtraceError, &RecordSink::onAuxtraceError);
    case RecordType::ThreadMap:
        return pass(decodeThreadMap, &RecordSink::onThreadMap);
    case RecordType::CpuMap:
        return pass(decodeCpuMapRecord, &RecordSink::onCpuMap);
    case RecordType::StatConfig:
        return pass(decodeStatConfig, &RecordSink::onStatConfig);
    case RecordType::Stat:
        return pass(decodeStat, &RecordSink::onStat);
    case RecordType::StatRound:
        return pass(decodeStatRound, &RecordSink::onStatRound);
    case RecordType::TimeConv:
        return pass(decodeTimeConv, &RecordSink::onTimeConv);
    default:
        return pass(decodeOther, &RecordSink::onOther);
    }
}

} // namespace samplefold::perfdata
