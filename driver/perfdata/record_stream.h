// The chain of records: heads, sizes, and the raw bytes that follow some of them.
#pragma once

#include "perfdata/packed_span.h"
#include "perfdata/records.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace samplefold::perfdata {

inline constexpr std::size_t recordHeadSize = 8;

/// A record in the stream; the pointers stay within the stream.
struct RecordView {
    const std::byte* start = nullptr;
    std::uint32_t type = 0;
    std::uint16_t misc = 0;
    std::uint32_t size = 0; ///< with the head

    [[nodiscard]] RecordType kind() const noexcept { return static_cast<RecordType>(type); }
    [[nodiscard]] const std::byte* body() const noexcept { return start + recordHeadSize; }
    [[nodiscard]] std::size_t bodySize() const noexcept { return size - recordHeadSize; }
    [[nodiscard]] std::span<const std::byte> bodyBytes() const noexcept
    {
        return {body(), bodySize()};
    }
    /// Kernel records have a sample-id trailer when their event asks for it; synthetic ones never.
    [[nodiscard]] bool isFromKernel() const noexcept { return type < 64; }
};

/// Loads the head at `start`; the caller knows that 8 bytes are there.
[[nodiscard]] inline RecordView viewRecord(const std::byte* start) noexcept
{
    const auto head = loadAt<std::uint64_t>(start);
    return {start, static_cast<std::uint32_t>(head), static_cast<std::uint16_t>(head >> 32),
            static_cast<std::uint32_t>(head >> 48)};
}

/// Raw bytes that follow the record (AUXTRACE, TRACING_DATA); 0 for all others. May be any number:
/// the caller compares it with what is left.
[[nodiscard]] inline std::uint64_t trailingBytes(const RecordView& record) noexcept
{
    if (record.kind() == RecordType::Auxtrace && record.bodySize() >= 8)
        return loadAt<std::uint64_t>(record.body());
    if (record.kind() == RecordType::TracingData && record.bodySize() >= 4)
        return loadAt<std::uint32_t>(record.body());
    return 0;
}

/// What is wrong with the record at `position` of a stream, or nullptr when it lies in the stream
/// with its trailing bytes. `extent` is the record's size with them.
[[nodiscard]] inline const char* checkRecord(std::span<const std::byte> stream,
                                             std::uint64_t position, RecordView& record,
                                             std::uint64_t& extent) noexcept
{
    const std::uint64_t left = stream.size() - position;
    if (left < recordHeadSize) return "the head of a record is cut";
    record = viewRecord(stream.data() + position);
    if (record.size < recordHeadSize) return "a record has an impossible size";
    if (record.size > left) return "a record reaches beyond the end";
    const std::uint64_t trailing = trailingBytes(record);
    if (trailing > left - record.size) return "the data after a record reaches beyond the end";
    extent = record.size + trailing;
    return nullptr;
}

} // namespace samplefold::perfdata
