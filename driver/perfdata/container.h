// The outer layout of an input: which container it is and where its sections lie.
#pragma once

#include "perfdata/recording.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace samplefold::perfdata {

/// A feature section; the bytes lie within the input.
struct FeatureSection {
    std::uint32_t feature = 0;
    std::span<const std::byte> bytes;
};

/// Sections of an input, each clipped to the bytes that are there.
struct Layout {
    Container container = Container::File;
    std::uint64_t attrEntrySize = 0;       ///< bytes of an attribute with its ids section
    std::span<const std::byte> attrs;      ///< files only
    std::span<const std::byte> eventTypes; ///< old files only
    std::uint64_t recordsOffset = 0;       ///< where the records start in the input
    std::span<const std::byte> records;
    std::vector<FeatureSection> features;
    std::vector<std::uint32_t> brokenFeatures; ///< named by the header, outside of the input
    std::vector<std::string> notes;
    bool recordsCut = false; ///< the header promises more records than there are bytes
};

/// Reads the head of `input`. Throws ReadError when it is no recording this reader can take (empty,
/// another format, big-endian, a head that is cut); sections outside of the input become notes.
[[nodiscard]] Layout parseLayout(std::span<const std::byte> input, const std::string& name);

} // namespace samplefold::perfdata
