#include "perfdata/feature_parser.h"

#include "perfdata/byte_reader.h"
#include "perfdata/tracing_names.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace samplefold::perfdata {

namespace {

constexpr std::uint16_t miscBuildIdHasSize = 1u << 15;
constexpr std::uint8_t longestBuildId = 20;
constexpr std::size_t recordHeadSize = 8;
constexpr std::uint32_t featureLimit = 256;

constexpr std::array<const char*, 32> featureNames = {
    nullptr,           "tracing_data", "build_id",     "hostname",     "osrelease",
    "version",         "arch",         "nrcpus",       "cpudesc",      "cpuid",
    "total_mem",       "cmdline",      "event_desc",   "cpu_topology", "numa_topology",
    "branch_stack",    "pmu_mappings", "group_desc",   "auxtrace",     "stat",
    "cache",           "sample_time",  "mem_topology", "clockid",      "dir_format",
    "bpf_prog_info",   "bpf_btf",      "compressed",   "cpu_pmu_caps", "clock_data",
    "hybrid_topology", "pmu_caps"};

std::string takeString(ByteReader& reader)
{
    const auto length = reader.take<std::uint32_t>();
    return std::string(reader.text(length));
}

/// Calls `one` as often as the leading 32-bit count says, as long as there are bytes.
template <class One>
void repeat(ByteReader& reader, const One& one)
{
    const auto count = reader.take<std::uint32_t>();
    for (std::uint32_t index = 0; index < count && reader.ok(); ++index)
        one();
}

std::vector<std::string> takeStrings(ByteReader& reader)
{
    std::vector<std::string> strings;
    repeat(reader, [&] { strings.push_back(takeString(reader)); });
    return strings;
}

bool readString(ByteReader reader, std::string& out)
{
    std::string text = takeString(reader);
    if (!reader.ok()) return false;
    out = std::move(text);
    return true;
}

bool readCpuCounts(ByteReader reader, Features& features)
{
    const auto available = reader.take<std::uint32_t>();
    const auto online = reader.take<std::uint32_t>();
    if (!reader.ok()) return false;
    features.cpusAvailable = available;
    features.cpusOnline = online;
    return true;
}

bool readCmdline(ByteReader reader, Features& features)
{
    std::vector<std::string> words = takeStrings(reader);
    if (!reader.ok()) return false;
    features.cmdline = std::move(words);
    return true;
}

bool readTotalMem(ByteReader reader, Features& features)
{
    const auto total = reader.take<std::uint64_t>();
    if (!reader.ok()) return false;
    features.totalMemKb = total;
    return true;
}

bool readCpuTopology(ByteReader reader, Features& features)
{
    CpuTopology topology;
    topology.coreSiblings = takeStrings(reader);
    topology.threadSiblings = takeStrings(reader);
    const std::size_t cpus = features.cpusAvailable.value_or(0);
    if (!reader.ok() || cpus > reader.left() / 8) {
        // Old recorders end here, without a place for each CPU.
        features.cpuTopology = topology;
        return reader.ok();
    }
    topology.cpus.resize(cpus);
    for (CpuPlace& place : topology.cpus) {
        place.core = reader.take<std::int32_t>();
        place.socket = reader.take<std::int32_t>();
    }
    if (reader.left() >= 4) {
        topology.dieSiblings = takeStrings(reader);
        for (CpuPlace& place : topology.cpus)
            place.die = reader.take<std::int32_t>();
    }
    if (!reader.ok()) return false;
    features.cpuTopology = std::move(topology);
    return true;
}

bool readNuma(ByteReader reader, Features& features)
{
    std::vector<NumaNode> nodes;
    repeat(reader, [&] {
        NumaNode& node = nodes.emplace_back();
        node.node = reader.take<std::uint32_t>();
        node.memTotalKb = reader.take<std::uint64_t>();
        node.memFreeKb = reader.take<std::uint64_t>();
        node.cpus = takeString(reader);
    });
    if (!reader.ok()) return false;
    features.numa = std::move(nodes);
    return true;
}

bool readPmuMappings(ByteReader reader, Features& features)
{
    std::vector<PmuMapping> mappings;
    repeat(reader, [&] {
        PmuMapping& mapping = mappings.emplace_back();
        mapping.type = reader.take<std::uint32_t>();
        mapping.name = takeString(reader);
    });
    if (!reader.ok()) return false;
    features.pmuMappings = std::move(mappings);
    return true;
}

/// Groups are listed in the order of their events and share none.
bool areApart(const std::vector<GroupDesc>& groups)
{
    std::uint64_t end = 0;
    for (const GroupDesc& group : groups) {
        if (group.leader < end) return false;
        end = std::uint64_t{group.leader} + group.members;
    }
    return true;
}

bool readGroups(ByteReader reader, Features& features, EventTable& events)
{
    std::vector<GroupDesc> groups;
    repeat(reader, [&] {
        GroupDesc& group = groups.emplace_back();
        group.name = takeString(reader);
        group.leader = reader.take<std::uint32_t>();
        group.members = reader.take<std::uint32_t>();
    });
    if (!reader.ok() || !areApart(groups)) return false;
    std::vector<Event>& all = events.events();
    for (const GroupDesc& group : groups) {
        const std::size_t end =
            std::min<std::size_t>(std::size_t{group.leader} + group.members, all.size());
        if (group.leader < all.size()) all[group.leader].groupName = group.name;
        for (std::size_t member = group.leader; member < end; ++member)
            all[member].leader = group.leader;
    }
    features.groups = std::move(groups);
    return true;
}

bool readEventDesc(ByteReader reader, EventTable& events)
{
    const auto count = reader.take<std::uint32_t>();
    const auto attrSize = reader.take<std::uint32_t>();
    for (std::uint32_t index = 0; index < count && reader.ok(); ++index) {
        reader.skip(attrSize);
        const auto idCount = reader.take<std::uint32_t>();
        const std::string name = takeString(reader);
        const PackedSpan<std::uint64_t> ids = reader.array<std::uint64_t>(idCount);
        if (!reader.ok() || index >= events.events().size()) break;
        events.offerName(index, name, NameSource::File);
        for (const std::uint64_t id : ids)
            events.addId(index, id);
    }
    return reader.ok();
}

bool readSampleTime(ByteReader reader, Features& features)
{
    const auto first = reader.take<std::uint64_t>();
    const auto last = reader.take<std::uint64_t>();
    if (!reader.ok()) return false;
    features.sampleTime.emplace(first, last);
    return true;
}

bool readClockId(ByteReader reader, Features& features)
{
    const auto resolution = reader.take<std::uint64_t>();
    if (!reader.ok()) return false;
    features.clockResolution = resolution;
    return true;
}

bool readClockData(ByteReader reader, Features& features)
{
    reader.skip(4); // version
    ClockData data;
    data.clockid = reader.take<std::uint32_t>();
    data.wallClockNs = reader.take<std::uint64_t>();
    data.clockNs = reader.take<std::uint64_t>();
    if (!reader.ok()) return false;
    features.clockData = data;
    return true;
}

bool readCompression(ByteReader reader, Features& features)
{
    CompressionInfo info;
    for (std::uint32_t* field :
         {&info.version, &info.type, &info.level, &info.ratio, &info.mmapLength})
        *field = reader.take<std::uint32_t>();
    if (!reader.ok()) return false;
    features.compression = info;
    return true;
}

void takeCaps(ByteReader& reader, PmuCaps& caps)
{
    repeat(reader, [&] {
        std::string name = takeString(reader);
        std::string value = takeString(reader);
        caps.caps.emplace_back(std::move(name), std::move(value));
    });
}

bool readCorePmuCaps(ByteReader reader, Features& features)
{
    PmuCaps caps;
    takeCaps(reader, caps);
    if (!reader.ok()) return false;
    features.pmuCaps.push_back(std::move(caps));
    return true;
}

bool readPmuCaps(ByteReader reader, Features& features)
{
    std::vector<PmuCaps> all;
    repeat(reader, [&] {
        PmuCaps& caps = all.emplace_back();
        takeCaps(reader, caps);
        caps.pmu = takeString(reader);
    });
    if (!reader.ok()) return false;
    std::move(all.begin(), all.end(), std::back_inserter(features.pmuCaps));
    return true;
}

bool readHybrid(ByteReader reader, Features& features)
{
    std::vector<HybridPmu> pmus;
    repeat(reader, [&] {
        HybridPmu& pmu = pmus.emplace_back();
        pmu.name = takeString(reader);
        pmu.cpus = takeString(reader);
    });
    if (!reader.ok()) return false;
    features.hybrid = std::move(pmus);
    return true;
}

bool readBuildIds(ByteReader reader, Features& features)
{
    while (reader.left() >= recordHeadSize) {
        reader.skip(4);
        const auto misc = reader.take<std::uint16_t>();
        const auto size = reader.take<std::uint16_t>();
        BuildIdRecord record;
        if (size < recordHeadSize ||
            !parseBuildId(misc, reader.bytes(size - recordHeadSize), record))
            return false;
        features.buildIds.push_back(ownedBuildId(record));
    }
    return reader.ok();
}

bool readTracingData(std::span<const std::byte> bytes, EventTable& events)
{
    TracepointNames names;
    const bool whole = readTracepointNames(bytes, names);
    if (names.empty()) return whole;
    for (const Event& event : events.events())
        if (event.attr.type == static_cast<std::uint32_t>(EventType::Tracepoint))
            if (const auto found = names.find(event.attr.config); found != names.end())
                events.offerName(event.index, found->second, NameSource::TracingData);
    return whole;
}

bool decode(FeatureId feature, std::span<const std::byte> bytes, Features& features,
            EventTable& events)
{
    const ByteReader reader(bytes);
    switch (feature) {
    case FeatureId::TracingData:
        return readTracingData(bytes, events);
    case FeatureId::BuildId:
        return readBuildIds(reader, features);
    case FeatureId::Hostname:
        return readString(reader, features.hostname);
    case FeatureId::OsRelease:
        return readString(reader, features.osRelease);
    case FeatureId::Version:
        return readString(reader, features.version);
    case FeatureId::Arch:
        return readString(reader, features.arch);
    case FeatureId::NrCpus:
        return readCpuCounts(reader, features);
    case FeatureId::CpuDesc:
        return readString(reader, features.cpuDesc);
    case FeatureId::CpuId:
        return readString(reader, features.cpuId);
    case FeatureId::TotalMem:
        return readTotalMem(reader, features);
    case FeatureId::Cmdline:
        return readCmdline(reader, features);
    case FeatureId::EventDesc:
        return readEventDesc(reader, events);
    case FeatureId::CpuTopology:
        return readCpuTopology(reader, features);
    case FeatureId::NumaTopology:
        return readNuma(reader, features);
    case FeatureId::PmuMappings:
        return readPmuMappings(reader, features);
    case FeatureId::GroupDesc:
        return readGroups(reader, features, events);
    case FeatureId::SampleTime:
        return readSampleTime(reader, features);
    case FeatureId::ClockId:
        return readClockId(reader, features);
    case FeatureId::ClockData:
        return readClockData(reader, features);
    case FeatureId::Compressed:
        return readCompression(reader, features);
    case FeatureId::CpuPmuCaps:
        return readCorePmuCaps(reader, features);
    case FeatureId::HybridTopology:
        return readHybrid(reader, features);
    case FeatureId::PmuCaps:
        return readPmuCaps(reader, features);
    case FeatureId::BranchStack:
    case FeatureId::Auxtrace:
    case FeatureId::Stat:
    case FeatureId::Cache:
    case FeatureId::MemTopology:
    case FeatureId::DirFormat:
    case FeatureId::BpfProgInfo:
    case FeatureId::BpfBtf:
        return true;
    }
    return true;
}

} // namespace

std::string featureName(std::uint32_t feature)
{
    if (feature < featureNames.size() && featureNames[feature] != nullptr)
        return featureNames[feature];
    return "feature " + std::to_string(feature);
}

void readFeature(std::uint32_t feature, std::span<const std::byte> bytes, Features& features,
                 EventTable& events, std::vector<std::string>& notes)
{
    const auto id = static_cast<FeatureId>(feature);
    if (feature >= featureLimit) return; // the format has no room for it
    if (std::find(features.present.begin(), features.present.end(), id) == features.present.end())
        features.present.push_back(id);
    if (decode(id, bytes, features, events)) return;
    ++features.broken;
    notes.push_back("the feature " + featureName(feature) + " is damaged: left out");
}

bool parseBuildId(std::uint16_t misc, std::span<const std::byte> body, BuildIdRecord& record)
{
    ByteReader reader(body);
    record.misc = misc;
    record.pid = reader.take<std::int32_t>();
    const std::span<const std::byte> bytes = reader.bytes(longestBuildId);
    const auto size = reader.take<std::uint8_t>();
    reader.skip(3);
    record.filename = reader.restAsText();
    if (!reader.ok()) return false;
    record.buildId.size =
        (misc & miscBuildIdHasSize) != 0 ? std::min(size, longestBuildId) : longestBuildId;
    std::memcpy(record.buildId.bytes, bytes.data(), record.buildId.size);
    return true;
}

BuildId ownedBuildId(const BuildIdRecord& record)
{
    return {record.pid, record.cpuMode(), record.buildId, std::string(record.filename)};
}

} // namespace samplefold::perfdata
