// What the recording says about each of its events: the kernel's attribute, its ids and its name.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace samplefold::perfdata {

/// Values of EventAttr::type below the dynamic ones.
enum class EventType : std::uint32_t {
    Hardware = 0,
    Software = 1,
    Tracepoint = 2,
    Cache = 3,
    Raw = 4,
    Breakpoint = 5
};

/// Bits of EventAttr::sampleType, in the kernel's numbering.
namespace sampleBit {
inline constexpr std::uint64_t Ip = 1u << 0;
inline constexpr std::uint64_t Tid = 1u << 1;
inline constexpr std::uint64_t Time = 1u << 2;
inline constexpr std::uint64_t Addr = 1u << 3;
inline constexpr std::uint64_t Read = 1u << 4;
inline constexpr std::uint64_t Callchain = 1u << 5;
inline constexpr std::uint64_t Id = 1u << 6;
inline constexpr std::uint64_t Cpu = 1u << 7;
inline constexpr std::uint64_t Period = 1u << 8;
inline constexpr std::uint64_t StreamId = 1u << 9;
inline constexpr std::uint64_t Raw = 1u << 10;
inline constexpr std::uint64_t BranchStack = 1u << 11;
inline constexpr std::uint64_t RegsUser = 1u << 12;
inline constexpr std::uint64_t StackUser = 1u << 13;
inline constexpr std::uint64_t Weight = 1u << 14;
inline constexpr std::uint64_t DataSrc = 1u << 15;
inline constexpr std::uint64_t Identifier = 1u << 16;
inline constexpr std::uint64_t Transaction = 1u << 17;
inline constexpr std::uint64_t RegsIntr = 1u << 18;
inline constexpr std::uint64_t PhysAddr = 1u << 19;
inline constexpr std::uint64_t Aux = 1u << 20;
inline constexpr std::uint64_t Cgroup = 1u << 21;
inline constexpr std::uint64_t DataPageSize = 1u << 22;
inline constexpr std::uint64_t CodePageSize = 1u << 23;
inline constexpr std::uint64_t WeightStruct = 1u << 24;
inline constexpr std::uint64_t AllKnown = (1u << 25) - 1;
} // namespace sampleBit

/// Bits of EventAttr::readFormat.
namespace readBit {
inline constexpr std::uint64_t TimeEnabled = 1u << 0;
inline constexpr std::uint64_t TimeRunning = 1u << 1;
inline constexpr std::uint64_t Id = 1u << 2;
inline constexpr std::uint64_t Group = 1u << 3;
inline constexpr std::uint64_t Lost = 1u << 4;
} // namespace readBit

/// Bits of EventAttr::branchSampleType that a reader of branch stacks needs.
namespace branchBit {
inline constexpr std::uint64_t User = 1u << 0;
inline constexpr std::uint64_t Kernel = 1u << 1;
inline constexpr std::uint64_t Hypervisor = 1u << 2;
inline constexpr std::uint64_t Any = 1u << 3;
inline constexpr std::uint64_t AnyCall = 1u << 4;
inline constexpr std::uint64_t AnyReturn = 1u << 5;
inline constexpr std::uint64_t IndirectCall = 1u << 6;
inline constexpr std::uint64_t AbortTx = 1u << 7;
inline constexpr std::uint64_t InTx = 1u << 8;
inline constexpr std::uint64_t NoTx = 1u << 9;
inline constexpr std::uint64_t Conditional = 1u << 10;
inline constexpr std::uint64_t CallStack = 1u << 11;
inline constexpr std::uint64_t IndirectJump = 1u << 12;
inline constexpr std::uint64_t Call = 1u << 13;
inline constexpr std::uint64_t NoFlags = 1u << 14;
inline constexpr std::uint64_t NoCycles = 1u << 15;
inline constexpr std::uint64_t TypeSave = 1u << 16;
inline constexpr std::uint64_t HwIndex = 1u << 17;
inline constexpr std::uint64_t PrivSave = 1u << 18;
inline constexpr std::uint64_t Counters = 1u << 19;
} // namespace branchBit

/// The single bits of EventAttr::flags (precise_ip, two bits wide, has its own accessor).
namespace attrBit {
inline constexpr std::uint64_t Disabled = 1ull << 0;
inline constexpr std::uint64_t Inherit = 1ull << 1;
inline constexpr std::uint64_t Pinned = 1ull << 2;
inline constexpr std::uint64_t Exclusive = 1ull << 3;
inline constexpr std::uint64_t ExcludeUser = 1ull << 4;
inline constexpr std::uint64_t ExcludeKernel = 1ull << 5;
inline constexpr std::uint64_t ExcludeHv = 1ull << 6;
inline constexpr std::uint64_t ExcludeIdle = 1ull << 7;
inline constexpr std::uint64_t Mmap = 1ull << 8;
inline constexpr std::uint64_t Comm = 1ull << 9;
inline constexpr std::uint64_t Freq = 1ull << 10;
inline constexpr std::uint64_t InheritStat = 1ull << 11;
inline constexpr std::uint64_t EnableOnExec = 1ull << 12;
inline constexpr std::uint64_t Task = 1ull << 13;
inline constexpr std::uint64_t Watermark = 1ull << 14;
inline constexpr std::uint64_t MmapData = 1ull << 17;
inline constexpr std::uint64_t SampleIdAll = 1ull << 18;
inline constexpr std::uint64_t ExcludeHost = 1ull << 19;
inline constexpr std::uint64_t ExcludeGuest = 1ull << 20;
inline constexpr std::uint64_t ExcludeCallchainKernel = 1ull << 21;
inline constexpr std::uint64_t ExcludeCallchainUser = 1ull << 22;
inline constexpr std::uint64_t Mmap2 = 1ull << 23;
inline constexpr std::uint64_t CommExec = 1ull << 24;
inline constexpr std::uint64_t UseClockid = 1ull << 25;
inline constexpr std::uint64_t ContextSwitch = 1ull << 26;
inline constexpr std::uint64_t WriteBackward = 1ull << 27;
inline constexpr std::uint64_t Namespaces = 1ull << 28;
inline constexpr std::uint64_t Ksymbol = 1ull << 29;
inline constexpr std::uint64_t BpfEvent = 1ull << 30;
inline constexpr std::uint64_t AuxOutput = 1ull << 31;
inline constexpr std::uint64_t Cgroup = 1ull << 32;
inline constexpr std::uint64_t TextPoke = 1ull << 33;
inline constexpr std::uint64_t BuildId = 1ull << 34;
inline constexpr std::uint64_t InheritThread = 1ull << 35;
inline constexpr std::uint64_t RemoveOnExec = 1ull << 36;
inline constexpr std::uint64_t Sigtrap = 1ull << 37;
} // namespace attrBit

/// The kernel's event attribute, decoded. Fields beyond the size found in the file are 0.
struct EventAttr {
    std::uint32_t type = 0; ///< an EventType, or the number of a dynamic PMU
    std::uint32_t size = 0; ///< bytes of the attribute in the file; 64 when the file says 0
    std::uint64_t config = 0;
    std::uint64_t samplePeriodOrFreq = 0; ///< see samplePeriod() and sampleFreq()
    std::uint64_t sampleType = 0;         ///< sampleBit
    std::uint64_t readFormat = 0;         ///< readBit
    std::uint64_t flags = 0;              ///< attrBit
    std::uint32_t wakeup = 0;             ///< events, or bytes with attrBit::Watermark
    std::uint32_t breakpointType = 0;
    std::uint64_t config1 = 0;          ///< breakpoint address, probe name or offset
    std::uint64_t config2 = 0;          ///< breakpoint length, probe address
    std::uint64_t branchSampleType = 0; ///< branchBit
    std::uint64_t sampleRegsUser = 0;   ///< mask of registers
    std::uint32_t sampleStackUser = 0;  ///< bytes
    std::int32_t clockid = 0;           ///< meaningful with attrBit::UseClockid only
    std::uint64_t sampleRegsIntr = 0;   ///< mask of registers
    std::uint32_t auxWatermark = 0;
    std::uint16_t sampleMaxStack = 0; ///< frames
    std::uint32_t auxSampleSize = 0;
    std::uint32_t auxAction = 0;
    std::uint64_t sigData = 0;
    std::uint64_t config3 = 0;

    [[nodiscard]] bool has(std::uint64_t attrBits) const noexcept
    {
        return (flags & attrBits) != 0;
    }
    [[nodiscard]] bool samples(std::uint64_t sampleBits) const noexcept
    {
        return (sampleType & sampleBits) != 0;
    }
    [[nodiscard]] unsigned preciseIp() const noexcept
    {
        return static_cast<unsigned>(flags >> 15) & 3u;
    }
    /// Fixed period in events, or 0 when the event runs at a frequency.
    [[nodiscard]] std::uint64_t samplePeriod() const noexcept
    {
        return has(attrBit::Freq) ? 0 : samplePeriodOrFreq;
    }
    /// Samples per second wanted, or 0 when the event has a fixed period.
    [[nodiscard]] std::uint64_t sampleFreq() const noexcept
    {
        return has(attrBit::Freq) ? samplePeriodOrFreq : 0;
    }
};

/// Where Event::name comes from, best first.
enum class NameSource { File, TracingData, Generated };

/// One event of a recording. Owned by the Recording; its address is stable for the Recording's
/// life.
struct Event {
    std::uint32_t index = 0; ///< position in Recording::events()
    EventAttr attr;
    std::vector<std::uint64_t> ids; ///< sample ids of this event, as far as the file tells
    std::string name;               ///< never empty
    NameSource nameSource = NameSource::Generated;
    std::string unit;                ///< from an event update, else empty
    double scale = 1.0;              ///< from an event update
    std::uint32_t leader = 0;        ///< index of the group's leader; own index when not in a group
    std::string groupName;           ///< of the leader only
    std::vector<std::uint32_t> cpus; ///< from an event update: CPUs the event counts on
};

} // namespace samplefold::perfdata
