// Names of tracepoints, out of the tracing data that a recording of them carries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>

namespace samplefold::perfdata {

/// Tracepoint number (EventAttr::config) to "system:name".
using TracepointNames = std::map<std::uint64_t, std::string>;

/// Reads the event formats of a tracing data block. Stops at the first damage and returns the names
/// found until then; false when it is no tracing data or was damaged.
[[nodiscard]] bool readTracepointNames(std::span<const std::byte> tracingData,
                                       TracepointNames& names);

} // namespace samplefold::perfdata
