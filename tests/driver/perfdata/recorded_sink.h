// A sink that writes down what it is given, for tests.
#pragma once

#include "perfdata/recording.h"

#include <cstdint>
#include <string>
#include <vector>

namespace samplefold::perfdata::testing {

/// Keeps every record of every kind, in the order of delivery; `order` has the offsets of them all.
class RecordedSink : public RecordSink {
public:
    std::vector<std::uint64_t> order;
    std::vector<Sample> samples;
    std::vector<MmapRecord> mmaps;
    std::vector<CommRecord> comms;
    std::vector<TaskRecord> forks;
    std::vector<TaskRecord> exits;
    std::vector<LostRecord> losts;
    std::vector<LostRecord> lostSamples;
    std::vector<ThrottleRecord> throttles;
    std::vector<ReadRecord> reads;
    std::vector<SwitchRecord> switches;
    std::vector<NamespacesRecord> namespaces;
    std::vector<CgroupRecord> cgroups;
    std::vector<KsymbolRecord> ksymbols;
    std::vector<BpfEventRecord> bpfEvents;
    std::vector<TextPokeRecord> textPokes;
    std::vector<AuxRecord> auxes;
    std::vector<ItraceStartRecord> itraceStarts;
    std::vector<AuxOutputHwIdRecord> hwIds;
    std::vector<CallchainDeferredRecord> deferreds;
    std::vector<BuildIdRecord> buildIds;
    std::vector<IdIndexRecord> idIndexes;
    std::vector<AuxtraceInfoRecord> auxtraceInfos;
    std::vector<AuxtraceRecord> auxtraces;
    std::vector<AuxtraceErrorRecord> auxtraceErrors;
    std::vector<ThreadMapRecord> threadMaps;
    std::vector<CpuMapRecord> cpuMaps;
    std::vector<StatConfigRecord> statConfigs;
    std::vector<StatRecord> stats;
    std::vector<StatRoundRecord> statRounds;
    std::vector<TimeConvRecord> timeConvs;
    std::vector<OtherRecord> others;

    void onSample(const Sample& r) override { keep(samples, r); }
    void onMmap(const MmapRecord& r) override { keep(mmaps, r); }
    void onComm(const CommRecord& r) override { keep(comms, r); }
    void onFork(const TaskRecord& r) override { keep(forks, r); }
    void onExit(const TaskRecord& r) override { keep(exits, r); }
    void onLost(const LostRecord& r) override { keep(losts, r); }
    void onLostSamples(const LostRecord& r) override { keep(lostSamples, r); }
    void onThrottle(const ThrottleRecord& r) override { keep(throttles, r); }
    void onRead(const ReadRecord& r) override { keep(reads, r); }
    void onSwitch(const SwitchRecord& r) override { keep(switches, r); }
    void onNamespaces(const NamespacesRecord& r) override { keep(namespaces, r); }
    void onCgroup(const CgroupRecord& r) override { keep(cgroups, r); }
    void onKsymbol(const KsymbolRecord& r) override { keep(ksymbols, r); }
    void onBpfEvent(const BpfEventRecord& r) override { keep(bpfEvents, r); }
    void onTextPoke(const TextPokeRecord& r) override { keep(textPokes, r); }
    void onAux(const AuxRecord& r) override { keep(auxes, r); }
    void onItraceStart(const ItraceStartRecord& r) override { keep(itraceStarts, r); }
    void onAuxOutputHwId(const AuxOutputHwIdRecord& r) override { keep(hwIds, r); }
    void onCallchainDeferred(const CallchainDeferredRecord& r) override { keep(deferreds, r); }
    void onBuildId(const BuildIdRecord& r) override { keep(buildIds, r); }
    void onIdIndex(const IdIndexRecord& r) override { keep(idIndexes, r); }
    void onAuxtraceInfo(const AuxtraceInfoRecord& r) override { keep(auxtraceInfos, r); }
    void onAuxtrace(const AuxtraceRecord& r) override { keep(auxtraces, r); }
    void onAuxtraceError(const AuxtraceErrorRecord& r) override { keep(auxtraceErrors, r); }
    void onThreadMap(const ThreadMapRecord& r) override { keep(threadMaps, r); }
    void onCpuMap(const CpuMapRecord& r) override { keep(cpuMaps, r); }
    void onStatConfig(const StatConfigRecord& r) override { keep(statConfigs, r); }
    void onStat(const StatRecord& r) override { keep(stats, r); }
    void onStatRound(const StatRoundRecord& r) override { keep(statRounds, r); }
    void onTimeConv(const TimeConvRecord& r) override { keep(timeConvs, r); }
    void onOther(const OtherRecord& r) override { keep(others, r); }

private:
    template <class Record>
    void keep(std::vector<Record>& list, const Record& record)
    {
        list.push_back(record);
        order.push_back(record.offset);
    }
};

} // namespace samplefold::perfdata::testing
