// The inside of Recording.
#pragma once

#include "perfdata/input_bytes.h"
#include "perfdata/recording.h"
#include "perfdata/stream_scan.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace samplefold::perfdata {

/// What the passes over the input gather; copied to start over when the input turns out compressed.
struct Collected {
    EventTable events;
    Features features;
    CountTable counts;
    std::vector<std::string> notes;
};

/// Filled by open and constant from then on.
struct Recording::Impl {
    std::string name;
    InputBytes input;
    InputBytes expanded; ///< used when isExpanded
    bool isExpanded = false;
    Container container = Container::File;
    std::span<const std::byte> stream; ///< the records, in `input` or `expanded`
    std::uint64_t streamOffset = 0;    ///< of the stream's start, as reported
    Collected collected;
    std::vector<RecordCount> counts;
    ScanResult scan;
    std::optional<Fault> fault;

    [[nodiscard]] std::uint64_t offsetOf(std::uint64_t position) const noexcept
    {
        return streamOffset + position;
    }
    /// Gives back the pages of the stream below `position`.
    void releaseUpTo(std::uint64_t position) const noexcept
    {
        const InputBytes& owner = isExpanded ? expanded : input;
        const auto start = static_cast<std::uint64_t>(stream.data() - owner.bytes().data());
        owner.release(start, start + position);
    }
};

} // namespace samplefold::perfdata
