// What the recorder noted about the machine and the run: the feature sections of a file, the
// feature records of a pipe.
#pragma once

#include "perfdata/records.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace samplefold::perfdata {

/// Numbers of the features as they stand in the file.
enum class FeatureId : std::uint32_t {
    TracingData = 1,
    BuildId = 2,
    Hostname = 3,
    OsRelease = 4,
    Version = 5,
    Arch = 6,
    NrCpus = 7,
    CpuDesc = 8,
    CpuId = 9,
    TotalMem = 10,
    Cmdline = 11,
    EventDesc = 12,
    CpuTopology = 13,
    NumaTopology = 14,
    BranchStack = 15,
    PmuMappings = 16,
    GroupDesc = 17,
    Auxtrace = 18,
    Stat = 19,
    Cache = 20,
    SampleTime = 21,
    MemTopology = 22,
    ClockId = 23,
    DirFormat = 24,
    BpfProgInfo = 25,
    BpfBtf = 26,
    Compressed = 27,
    CpuPmuCaps = 28,
    ClockData = 29,
    HybridTopology = 30,
    PmuCaps = 31,
};

/// An entry of the build-id table. Owns its text, unlike the record it was read from.
struct BuildId {
    std::int32_t pid = -1;              ///< -1: host
    CpuMode cpuMode = CpuMode::Unknown; ///< user or kernel file
    BuildIdBytes bytes;
    std::string filename;
};

struct CpuPlace {
    std::int32_t core = -1;
    std::int32_t socket = -1;
    std::int32_t die = -1; ///< -1: the recorder did not tell
};

/// Sibling lists are text as the kernel writes them ("0-3,8").
struct CpuTopology {
    std::vector<std::string> coreSiblings;
    std::vector<std::string> threadSiblings;
    std::vector<std::string> dieSiblings;
    std::vector<CpuPlace> cpus; ///< by CPU number
};

struct NumaNode {
    std::uint32_t node = 0;
    std::uint64_t memTotalKb = 0;
    std::uint64_t memFreeKb = 0;
    std::string cpus; ///< list as text
};

struct PmuMapping {
    std::uint32_t type = 0; ///< EventAttr::type of this PMU's events
    std::string name;
};

struct GroupDesc {
    std::string name;
    std::uint32_t leader = 0;  ///< event index
    std::uint32_t members = 0; ///< with the leader
};

/// Wall clock and event clock read at the same moment, both in ns.
struct ClockData {
    std::uint32_t clockid = 0;
    std::uint64_t wallClockNs = 0;
    std::uint64_t clockNs = 0;
};

struct CompressionInfo {
    std::uint32_t version = 0;
    std::uint32_t type = 0; ///< 1: zstd
    std::uint32_t level = 0;
    std::uint32_t ratio = 0;
    std::uint32_t mmapLength = 0;
};

struct PmuCaps {
    std::string pmu; ///< empty: the core PMU
    std::vector<std::pair<std::string, std::string>> caps;
};

struct HybridPmu {
    std::string name;
    std::string cpus;
};

/// All features that were found. Text not found is empty, other values are nullopt or empty lists.
struct Features {
    std::string hostname;
    std::string osRelease;
    std::string version; ///< of the recorder
    std::string arch;    ///< machine as uname gives it
    std::optional<std::uint32_t> cpusAvailable;
    std::optional<std::uint32_t> cpusOnline;
    std::string cpuDesc;
    std::string cpuId;
    std::optional<std::uint64_t> totalMemKb;
    std::vector<std::string> cmdline;
    std::optional<CpuTopology> cpuTopology;
    std::vector<NumaNode> numa;
    std::vector<PmuMapping> pmuMappings;
    std::vector<GroupDesc> groups;
    std::optional<std::pair<std::uint64_t, std::uint64_t>>
        sampleTime;                               ///< first and last, both included
    std::optional<std::uint64_t> clockResolution; ///< feature ClockId, as stored
    std::optional<ClockData> clockData;
    std::optional<CompressionInfo> compression;
    std::vector<PmuCaps> pmuCaps;
    std::vector<HybridPmu> hybrid;
    std::vector<BuildId> buildIds;  ///< table of the file, or BUILD_ID records of the stream
    std::vector<FeatureId> present; ///< every feature the recording names, readable or not
    std::uint32_t broken = 0; ///< features that could not be read; Recording::notes tells which
};

} // namespace samplefold::perfdata
