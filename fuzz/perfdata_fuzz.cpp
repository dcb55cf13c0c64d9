// Fuzz target of the recording reader: opens the bytes, delivers all records, touches all they
// point to.

#include "perfdata/recording.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string_view>

namespace samplefold::perfdata {
namespace {

/// Reads every byte that a record gives access to, so that a view outside of the input is found.
class TouchingSink : public RecordSink {
public:
    std::uint64_t sum = 0;
    std::uint64_t records = 0;

    void onSample(const Sample& s) override
    {
        ++records;
        add(s.callchain);
        for (const Branch branch : s.branches)
            sum += branch.from + branch.to + branch.cycles();
        add(s.branchCounters);
        add(s.userRegs.values);
        add(s.intrRegs.values);
        add(s.raw);
        add(s.userStack);
        add(s.aux);
        add(s.read);
        sum += s.event->index + s.ip + s.time;
    }
    void onMmap(const MmapRecord& r) override { add(r, r.filename); }
    void onComm(const CommRecord& r) override { add(r, r.comm); }
    void onFork(const TaskRecord& r) override { add(r, {}); }
    void onExit(const TaskRecord& r) override { add(r, {}); }
    void onLost(const LostRecord& r) override { add(r, {}); }
    void onLostSamples(const LostRecord& r) override { add(r, {}); }
    void onThrottle(const ThrottleRecord& r) override { add(r, {}); }
    void onRead(const ReadRecord& r) override
    {
        add(r, {});
        add(r.values);
    }
    void onSwitch(const SwitchRecord& r) override { add(r, {}); }
    void onNamespaces(const NamespacesRecord& r) override
    {
        add(r, {});
        for (const NamespaceLink link : r.links)
            sum += link.inode;
    }
    void onCgroup(const CgroupRecord& r) override { add(r, r.path); }
    void onKsymbol(const KsymbolRecord& r) override { add(r, r.name); }
    void onBpfEvent(const BpfEventRecord& r) override
    {
        add(r, {});
        add(r.tag);
    }
    void onTextPoke(const TextPokeRecord& r) override
    {
        add(r, {});
        add(r.oldBytes);
        add(r.newBytes);
    }
    void onAux(const AuxRecord& r) override { add(r, {}); }
    void onItraceStart(const ItraceStartRecord& r) override { add(r, {}); }
    void onAuxOutputHwId(const AuxOutputHwIdRecord& r) override { add(r, {}); }
    void onCallchainDeferred(const CallchainDeferredRecord& r) override
    {
        add(r, {});
        add(r.callchain);
    }
    void onBuildId(const BuildIdRecord& r) override { add(r, r.filename); }
    void onIdIndex(const IdIndexRecord& r) override
    {
        add(r, {});
        for (const IdIndexEntry entry : r.entries)
            sum += entry.id;
    }
    void onAuxtraceInfo(const AuxtraceInfoRecord& r) override
    {
        add(r, {});
        add(r.priv);
    }
    void onAuxtrace(const AuxtraceRecord& r) override
    {
        add(r, {});
        add(r.trace);
    }
    void onAuxtraceError(const AuxtraceErrorRecord& r) override { add(r, r.message); }
    void onThreadMap(const ThreadMapRecord& r) override
    {
        add(r, {});
        for (const ThreadMapEntry& thread : r.threads)
            add(thread.comm);
    }
    void onCpuMap(const CpuMapRecord& r) override { add(r, {}); }
    void onStatConfig(const StatConfigRecord& r) override
    {
        add(r, {});
        for (const StatConfigEntry entry : r.entries)
            sum += entry.value;
    }
    void onStat(const StatRecord& r) override { add(r, {}); }
    void onStatRound(const StatRoundRecord& r) override { add(r, {}); }
    void onTimeConv(const TimeConvRecord& r) override { add(r, {}); }
    void onOther(const OtherRecord& r) override
    {
        add(r, {});
        add(r.body);
    }

private:
    void add(const RecordBase& record, std::string_view text)
    {
        ++records;
        sum += record.offset + record.time.value_or(0);
        add(text);
    }
    void add(std::string_view text)
    {
        for (const char c : text)
            sum += static_cast<unsigned char>(c);
    }
    void add(std::span<const std::byte> bytes)
    {
        for (const std::byte byte : bytes)
            sum += static_cast<std::uint64_t>(byte);
    }
    void add(const PackedSpan<std::uint64_t>& words)
    {
        for (const std::uint64_t word : words)
            sum += word;
    }
    void add(const ReadValues& values)
    {
        for (std::size_t index = 0; index < values.size(); ++index)
            sum += values[index].value + values[index].id + values[index].lost;
    }
};

/// What must hold for any input that opens.
void require(bool holds)
{
    if (!holds) std::abort();
}

void readThrough(std::span<const std::byte> bytes)
{
    OpenOptions options;
    options.maxExpandedBytes = 1u << 20;
    const Recording recording = Recording::fromBytes(bytes, "fuzz", options);
    require(!recording.events().empty());
    std::uint64_t counted = 0;
    for (const RecordCount& count : recording.counts())
        counted += count.count;
    TouchingSink all;
    const DeliveryStats stats = recording.deliver(all);
    require(all.records == stats.samples + stats.sideBand);
    require(stats.read == all.records + stats.badRecords + stats.unknownIdSamples);
    const std::uint64_t compressed = recording.offsetsAreInFile()
                                         ? 0
                                         : recording.countOf(RecordType::Compressed) +
                                               recording.countOf(RecordType::Compressed2);
    require(stats.read <= counted && stats.read + compressed >= counted);
    TouchingSink samples;
    TouchingSink sideBand;
    recording.deliver(samples, {Deliver::Samples, {}});
    recording.deliver(sideBand, {Deliver::SideBand, {}});
    require(samples.records == stats.samples && sideBand.records == stats.sideBand);
    require(samples.sum + sideBand.sum == all.sum);
}

} // namespace

/// Refusal of the input is a proper answer; any other exception ends the program.
void fuzzOne(std::span<const std::byte> bytes)
{
    try {
        readThrough(bytes);
    } catch (const ReadError&) {
        return;
    }
}

} // namespace samplefold::perfdata

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    samplefold::perfdata::fuzzOne({reinterpret_cast<const std::byte*>(data), size});
    return 0;
}
