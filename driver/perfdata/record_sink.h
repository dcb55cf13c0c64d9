// Receiver of the records of a recording.
#pragma once

#include "perfdata/records.h"
#include "perfdata/sample.h"

namespace samplefold::perfdata {

/// One operation per kind of record; each does nothing unless overridden. Recording::deliver calls
/// them on its own thread, one at a time. The argument lives for the call only; the text and the
/// spans in it live as long as the Recording. Exceptions thrown here leave deliver unchanged.
class RecordSink {
public:
    virtual ~RecordSink() = default;

    virtual void onSample(const Sample&) {}
    virtual void onMmap(const MmapRecord&) {}
    virtual void onComm(const CommRecord&) {}
    virtual void onFork(const TaskRecord&) {}
    virtual void onExit(const TaskRecord&) {}
    virtual void onLost(const LostRecord&) {}
    virtual void onLostSamples(const LostRecord&) {}
    virtual void onThrottle(const ThrottleRecord&) {}
    virtual void onRead(const ReadRecord&) {}
    virtual void onSwitch(const SwitchRecord&) {}
    virtual void onNamespaces(const NamespacesRecord&) {}
    virtual void onCgroup(const CgroupRecord&) {}
    virtual void onKsymbol(const KsymbolRecord&) {}
    virtual void onBpfEvent(const BpfEventRecord&) {}
    virtual void onTextPoke(const TextPokeRecord&) {}
    virtual void onAux(const AuxRecord&) {}
    virtual void onItraceStart(const ItraceStartRecord&) {}
    virtual void onAuxOutputHwId(const AuxOutputHwIdRecord&) {}
    virtual void onCallchainDeferred(const CallchainDeferredRecord&) {}
    virtual void onBuildId(const BuildIdRecord&) {}
    virtual void onIdIndex(const IdIndexRecord&) {}
    virtual void onAuxtraceInfo(const AuxtraceInfoRecord&) {}
    virtual void onAuxtrace(const AuxtraceRecord&) {}
    virtual void onAuxtraceError(const AuxtraceErrorRecord&) {}
    virtual void onThreadMap(const ThreadMapRecord&) {}
    virtual void onCpuMap(const CpuMapRecord&) {}
    virtual void onStatConfig(const StatConfigRecord&) {}
    virtual void onStat(const StatRecord&) {}
    virtual void onStatRound(const StatRoundRecord&) {}
    virtual void onTimeConv(const TimeConvRecord&) {}
    virtual void onOther(const OtherRecord&) {}
};

} // namespace samplefold::perfdata
