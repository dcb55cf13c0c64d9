// One decoded sample record.
#pragma once

#include "perfdata/event.h"
#include "perfdata/packed_span.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace samplefold::perfdata {

/// In whose context the processor was, from the low bits of a record's misc field.
enum class CpuMode : std::uint8_t {
    Unknown = 0,
    Kernel = 1,
    User = 2,
    Hypervisor = 3,
    GuestKernel = 4,
    GuestUser = 5
};

/// Markers inside Sample::callchain: what follows belongs to that context. Everything from
/// contextMarkerMin up is a marker, never an address.
namespace context {
inline constexpr std::uint64_t Hypervisor = static_cast<std::uint64_t>(-32);
inline constexpr std::uint64_t Kernel = static_cast<std::uint64_t>(-128);
inline constexpr std::uint64_t User = static_cast<std::uint64_t>(-512);
inline constexpr std::uint64_t UserDeferred = static_cast<std::uint64_t>(-640);
inline constexpr std::uint64_t Guest = static_cast<std::uint64_t>(-2048);
inline constexpr std::uint64_t GuestKernel = static_cast<std::uint64_t>(-2176);
inline constexpr std::uint64_t GuestUser = static_cast<std::uint64_t>(-2560);
inline constexpr std::uint64_t MarkerMin = static_cast<std::uint64_t>(-4095);

/// True for the markers above and for any other value of their range.
[[nodiscard]] constexpr bool isMarker(std::uint64_t entry) noexcept
{
    return entry >= MarkerMin;
}
} // namespace context

/// One taken branch as the kernel stores it; newest first in Sample::branches.
struct Branch {
    std::uint64_t from = 0;
    std::uint64_t to = 0;
    std::uint64_t flags = 0;

    [[nodiscard]] bool mispredicted() const noexcept { return (flags & 1u) != 0; }
    [[nodiscard]] bool predicted() const noexcept { return (flags & 2u) != 0; }
    [[nodiscard]] bool inTransaction() const noexcept { return (flags & 4u) != 0; }
    [[nodiscard]] bool aborted() const noexcept { return (flags & 8u) != 0; }
    /// Core cycles since the previous branch of the stack; 0 when the processor does not tell.
    [[nodiscard]] std::uint16_t cycles() const noexcept
    {
        return static_cast<std::uint16_t>(flags >> 4);
    }
    /// Kernel's branch type (1 conditional, 2 jump, 3 indirect jump, 4 call, ...); 0 unknown.
    [[nodiscard]] unsigned type() const noexcept
    {
        return static_cast<unsigned>(flags >> 20) & 15u;
    }
    [[nodiscard]] unsigned speculation() const noexcept
    {
        return static_cast<unsigned>(flags >> 24) & 3u;
    }
    [[nodiscard]] unsigned extendedType() const noexcept
    {
        return static_cast<unsigned>(flags >> 26) & 15u;
    }
    [[nodiscard]] unsigned privilege() const noexcept
    {
        return static_cast<unsigned>(flags >> 30) & 7u;
    }
};

/// One counter value of a read. `id` is 0 when the format has no ids, `lost` when it has no losses.
struct CounterValue {
    std::uint64_t value = 0;
    std::uint64_t id = 0;
    std::uint64_t lost = 0;
};

/// The READ part of a sample or a READ record: one value, or one per member of the group in the
/// order leader, members. Times are nanoseconds; they are 0 when the format does not have them.
/// Values are views into the recording.
class ReadValues {
public:
    ReadValues() = default;
    /// A group: `count` packed entries of value, id and lost, as far as the format has them.
    ReadValues(const std::byte* entries, std::size_t count, std::uint64_t readFormat) noexcept
        : m_values(entries), m_count(count), m_format(readFormat)
    {
    }
    /// A single counter: its value stands apart from its id and lost.
    ReadValues(const std::byte* value, const std::byte* rest, std::uint64_t readFormat) noexcept
        : m_values(value), m_rest(rest), m_count(1), m_format(readFormat)
    {
    }

    std::uint64_t timeEnabled = 0;
    std::uint64_t timeRunning = 0;

    [[nodiscard]] std::size_t size() const noexcept { return m_count; }
    [[nodiscard]] bool isGroup() const noexcept { return (m_format & readBit::Group) != 0; }
    [[nodiscard]] bool hasIds() const noexcept { return (m_format & readBit::Id) != 0; }
    /// The value at `index`, which is below size().
    [[nodiscard]] CounterValue operator[](std::size_t index) const noexcept;

private:
    const std::byte* m_values = nullptr;
    const std::byte* m_rest = nullptr;
    std::size_t m_count = 0;
    std::uint64_t m_format = 0;
};

/// Registers of a sample. `values` holds one word per set bit of `mask`, lowest bit first; it is
/// empty when `abi` is 0 (none), which is so for kernel threads. abi: 1 = 32 bits, 2 = 64 bits.
struct Registers {
    std::uint64_t abi = 0;
    std::uint64_t mask = 0;
    PackedSpan<std::uint64_t> values;
};

/// A sample record. Fields whose sampleBit is not in `has` keep their defaults (period: see there).
/// Spans are views into the recording and live as long as it does; the struct itself is only
/// valid during RecordSink::onSample (copy it to keep it).
struct Sample {
    const Event* event = nullptr; ///< never null in a delivered sample
    std::uint64_t offset = 0;     ///< where the record starts, see Recording::offsetsAreInFile
    std::uint64_t has = 0;        ///< sampleBit of what this sample carries
    std::uint64_t ip = 0;
    std::uint64_t time = 0;   ///< ticks of the recording's clock, usually ns; hasTime()
    std::uint64_t period = 0; ///< events since the last sample; the event's fixed period when the
                              ///< sample has none, 0 when there is no fixed period either
    std::int32_t pid = -1;    ///< hasTid(); 0 idle or outside the recorder's namespace, -1 gone
    std::int32_t tid = -1;
    std::uint32_t cpu = 0; ///< hasCpu()
    std::uint16_t misc = 0;
    std::uint64_t id = 0; ///< from IDENTIFIER or ID
    std::uint64_t streamId = 0;
    std::uint64_t addr = 0;
    ReadValues read;
    PackedSpan<std::uint64_t> callchain; ///< innermost first, with context markers
    std::span<const std::byte> raw;
    PackedSpan<Branch> branches;
    std::uint64_t branchHwIndex = 0; ///< hasBranchHwIndex
    bool hasBranchHwIndex = false;
    PackedSpan<std::uint64_t> branchCounters; ///< one word per branch, or empty
    Registers userRegs;
    std::span<const std::byte> userStack; ///< valid part of the dump, lowest address first
    std::uint64_t userStackDumped = 0;    ///< bytes the dump takes in the file, valid or not
    std::uint64_t weight = 0;             ///< whole word; with WeightStruct see the parts
    std::uint32_t weight1 = 0;            ///< WeightStruct: bits 0 to 31
    std::uint16_t weight2 = 0;            ///< WeightStruct: bits 32 to 47
    std::uint16_t weight3 = 0;            ///< WeightStruct: bits 48 to 63
    std::uint64_t dataSrc = 0;
    std::uint64_t transaction = 0;
    Registers intrRegs;
    std::uint64_t physAddr = 0;
    std::uint64_t cgroup = 0;
    std::uint64_t dataPageSize = 0;
    std::uint64_t codePageSize = 0;
    std::span<const std::byte> aux;

    [[nodiscard]] bool hasTime() const noexcept { return (has & sampleBit::Time) != 0; }
    [[nodiscard]] bool hasCpu() const noexcept { return (has & sampleBit::Cpu) != 0; }
    [[nodiscard]] bool hasTid() const noexcept { return (has & sampleBit::Tid) != 0; }
    [[nodiscard]] bool hasIp() const noexcept { return (has & sampleBit::Ip) != 0; }
    [[nodiscard]] bool hasPeriod() const noexcept { return (has & sampleBit::Period) != 0; }
    [[nodiscard]] CpuMode cpuMode() const noexcept { return static_cast<CpuMode>(misc & 7u); }
    /// True when `ip` is the exact instruction that caused the event (no skid).
    [[nodiscard]] bool ipIsExact() const noexcept { return (misc & (1u << 14)) != 0; }
};

} // namespace samplefold::perfdata
