// The decoded forms of all records but samples. Plain data; text and spans are views into the
// recording and live as long as it does. pid/tid are the kernel's, -1 where a task is gone.
#pragma once

#include "perfdata/sample.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace samplefold::perfdata {

/// Numbers of the record types as they stand in the file.
enum class RecordType : std::uint32_t {
    Mmap = 1,
    Lost = 2,
    Comm = 3,
    Exit = 4,
    Throttle = 5,
    Unthrottle = 6,
    Fork = 7,
    Read = 8,
    Sample = 9,
    Mmap2 = 10,
    Aux = 11,
    ItraceStart = 12,
    LostSamples = 13,
    Switch = 14,
    SwitchCpuWide = 15,
    Namespaces = 16,
    Ksymbol = 17,
    BpfEvent = 18,
    Cgroup = 19,
    TextPoke = 20,
    AuxOutputHwId = 21,
    CallchainDeferred = 22,
    HeaderAttr = 64,
    EventType = 65,
    TracingData = 66,
    BuildId = 67,
    FinishedRound = 68,
    IdIndex = 69,
    AuxtraceInfo = 70,
    Auxtrace = 71,
    AuxtraceError = 72,
    ThreadMap = 73,
    CpuMap = 74,
    StatConfig = 75,
    Stat = 76,
    StatRound = 77,
    EventUpdate = 78,
    TimeConv = 79,
    HeaderFeature = 80,
    Compressed = 81,
    FinishedInit = 82,
    Compressed2 = 83,
};

/// What every record has, and what its sample-id trailer adds (kernel records of events with
/// sample_id_all). A missing value is nullopt, told apart from 0.
struct RecordBase {
    std::uint64_t offset = 0; ///< where the record starts, see Recording::offsetsAreInFile
    RecordType type{};
    std::uint16_t misc = 0;
    std::uint32_t size = 0;       ///< bytes of the record, head included
    const Event* event = nullptr; ///< from the trailer's id; null when it has none or it is unknown
    std::optional<std::uint64_t>
        time; ///< ticks of the recording's clock; synthesised records have 0
    std::optional<std::int32_t> taskPid; ///< task that was running, not the record's subject
    std::optional<std::int32_t> taskTid;
    std::optional<std::uint32_t> cpu;
    std::optional<std::uint64_t> id;

    [[nodiscard]] CpuMode cpuMode() const noexcept { return static_cast<CpuMode>(misc & 7u); }
};

/// A build id of 1 to 20 bytes.
struct BuildIdBytes {
    std::uint8_t bytes[20] = {};
    std::uint8_t size = 0;

    [[nodiscard]] std::span<const std::uint8_t> span() const noexcept { return {bytes, size}; }
};

/// MMAP and MMAP2: [start, start + length) is mapped from byte `pageOffset` of `filename`.
struct MmapRecord : RecordBase {
    std::int32_t pid = -1; ///< -1: kernel or module
    std::int32_t tid = -1;
    std::uint64_t start = 0;
    std::uint64_t length = 0;
    std::uint64_t pageOffset = 0;
    std::string_view filename;
    bool isMmap2 = false;       ///< the fields below are there
    std::uint32_t devMajor = 0; ///< device, inode: 0 when a build id stands in their place
    std::uint32_t devMinor = 0;
    std::uint64_t inode = 0;
    std::uint64_t inodeGeneration = 0;
    std::optional<BuildIdBytes> buildId;
    std::uint32_t protection = 0; ///< PROT_* bits
    std::uint32_t flags = 0;      ///< MAP_* bits

    /// Mapping of data, not code: told by the misc field for MMAP, by the protection for MMAP2.
    [[nodiscard]] bool isData() const noexcept;
};

struct CommRecord : RecordBase {
    std::int32_t pid = -1;
    std::int32_t tid = -1;
    std::string_view comm;
    [[nodiscard]] bool isExec() const noexcept { return (misc & (1u << 13)) != 0; }
};

/// FORK and EXIT. `taskTime` is the time in the record's body; `time` is the trailer's, or the
/// body's when there is no trailer.
struct TaskRecord : RecordBase {
    std::int32_t pid = -1;
    std::int32_t parentPid = -1;
    std::int32_t tid = -1;
    std::int32_t parentTid = -1;
    std::uint64_t taskTime = 0;
};

/// LOST: `lost` records of event `lostId`. LOST_SAMPLES: `lost` samples, `lostId` is 0.
struct LostRecord : RecordBase {
    std::uint64_t lostId = 0;
    std::uint64_t lost = 0;
};

struct ThrottleRecord : RecordBase {
    std::uint64_t throttleTime = 0;
    std::uint64_t throttleId = 0;
    std::uint64_t streamId = 0;
    [[nodiscard]] bool isUnthrottle() const noexcept { return type == RecordType::Unthrottle; }
};

/// READ: counter values of a task at its end.
struct ReadRecord : RecordBase {
    std::int32_t pid = -1;
    std::int32_t tid = -1;
    ReadValues values;
};

/// SWITCH and SWITCH_CPU_WIDE; the task switched is taskPid/taskTid of the base.
struct SwitchRecord : RecordBase {
    std::optional<std::int32_t>
        otherPid; ///< CPU-wide only: the next task (out) or the previous (in)
    std::optional<std::int32_t> otherTid;
    [[nodiscard]] bool isOut() const noexcept { return (misc & (1u << 13)) != 0; }
    [[nodiscard]] bool isPreempt() const noexcept { return (misc & (1u << 14)) != 0; }
};

struct NamespaceLink {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
};

/// NAMESPACES: links in the kernel's order net, uts, ipc, pid, user, mnt, cgroup.
struct NamespacesRecord : RecordBase {
    std::int32_t pid = -1;
    std::int32_t tid = -1;
    PackedSpan<NamespaceLink> links;
};

struct CgroupRecord : RecordBase {
    std::uint64_t cgroupId = 0;
    std::string_view path;
};

/// KSYMBOL: [address, address + length) is kernel code made at run time.
struct KsymbolRecord : RecordBase {
    std::uint64_t address = 0;
    std::uint32_t length = 0;
    std::uint16_t symbolType = 0; ///< 1 BPF, 2 out of line
    std::uint16_t flags = 0;
    std::string_view name;
    [[nodiscard]] bool isUnregister() const noexcept { return (flags & 1u) != 0; }
};

struct BpfEventRecord : RecordBase {
    std::uint16_t eventType = 0; ///< 1 load, 2 unload
    std::uint16_t flags = 0;
    std::uint32_t programId = 0;
    std::span<const std::byte> tag; ///< 8 bytes
};

struct TextPokeRecord : RecordBase {
    std::uint64_t address = 0;
    std::span<const std::byte> oldBytes;
    std::span<const std::byte> newBytes;
};

struct AuxRecord : RecordBase {
    std::uint64_t auxOffset = 0;
    std::uint64_t auxSize = 0;
    std::uint64_t flags = 0;
};

struct ItraceStartRecord : RecordBase {
    std::int32_t pid = -1;
    std::int32_t tid = -1;
};

struct AuxOutputHwIdRecord : RecordBase {
    std::uint64_t hwId = 0;
};

/// User call chain that samples with context::UserDeferred and the same cookie are waiting for.
struct CallchainDeferredRecord : RecordBase {
    std::uint64_t cookie = 0;
    PackedSpan<std::uint64_t> callchain;
};

/// BUILD_ID, as a record in a pipe or as an entry of the file's table.
struct BuildIdRecord : RecordBase {
    std::int32_t pid = -1; ///< -1: host
    BuildIdBytes buildId;
    std::string_view filename;
};

struct IdIndexEntry {
    std::uint64_t id = 0;
    std::uint64_t eventIndex = 0;
    std::uint64_t cpu = 0; ///< all ones: any
    std::uint64_t tid = 0; ///< all ones: any
};

struct IdIndexRecord : RecordBase {
    PackedSpan<IdIndexEntry> entries;
};

struct AuxtraceInfoRecord : RecordBase {
    std::uint32_t kind = 0;
    std::span<const std::byte> priv;
};

/// AUXTRACE: `trace` bytes follow the record; they are no records and are skipped.
struct AuxtraceRecord : RecordBase {
    std::uint64_t auxOffset = 0;
    std::uint64_t reference = 0;
    std::uint32_t index = 0;
    std::int32_t tid = -1;
    std::uint32_t traceCpu = 0;
    std::span<const std::byte> trace;
};

struct AuxtraceErrorRecord : RecordBase {
    std::uint32_t kind = 0;
    std::uint32_t code = 0;
    std::int32_t pid = -1;
    std::int32_t tid = -1;
    std::uint64_t ip = 0;
    std::string_view message;
};

struct ThreadMapEntry {
    std::int32_t tid = -1; ///< -1: any task
    std::string_view comm;
};

struct ThreadMapRecord : RecordBase {
    std::vector<ThreadMapEntry> threads;
};

/// CPU_MAP in any of its three encodings, as ascending CPU numbers; all ones stands for "any CPU"
/// and comes first.
struct CpuMapRecord : RecordBase {
    std::vector<std::uint32_t> cpus;
};

struct StatConfigEntry {
    std::uint64_t tag = 0; ///< 0 aggregation mode, 1 interval, 2 scale, 3 aggregation level
    std::uint64_t value = 0;
};

struct StatConfigRecord : RecordBase {
    PackedSpan<StatConfigEntry> entries;
};

/// STAT: one counter of `id` (base) on a CPU and a thread of the thread map. Times in ns. Values
/// count from the start of the recording, not of the round.
struct StatRecord : RecordBase {
    std::uint32_t counterCpu = 0;  ///< number of the CPU; all ones: not bound to one
    std::uint32_t threadIndex = 0; ///< position in the thread map
    std::uint64_t value = 0;
    std::uint64_t timeEnabled = 0;
    std::uint64_t timeRunning = 0;
};

struct StatRoundRecord : RecordBase {
    bool isFinal = false;
    std::uint64_t roundTime = 0; ///< ns since the start
};

struct TimeConvRecord : RecordBase {
    std::uint64_t shift = 0;
    std::uint64_t mult = 0;
    std::uint64_t zero = 0;
    std::uint64_t cycles = 0; ///< these two: 0 in short records
    std::uint64_t mask = 0;
    bool capUserTimeZero = false;
    bool capUserTimeShort = false;
};

/// Records that only mark a place (FINISHED_ROUND, FINISHED_INIT), records whose content is kept in
/// Recording already (attributes, names, features, tracing data), and unknown types.
struct OtherRecord : RecordBase {
    std::span<const std::byte> body; ///< bytes after the 8-byte head
};

} // namespace samplefold::perfdata
