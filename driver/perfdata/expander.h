// Expansion of compressed recordings into plain records.
#pragma once

#include "perfdata/input_bytes.h"
#include "perfdata/stream_scan.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace samplefold::perfdata {

struct ExpansionResult {
    InputBytes bytes;                 ///< the records, without the compressed ones
    std::optional<StreamFault> fault; ///< position in the compressed stream
};

struct ExpansionLimits {
    std::string spoolFolder;
    std::uint64_t maxBytes = 0; ///< of the expanded records
};

/// Writes all records of `stream` to a spool file, compressed ones as what they expand to. They are
/// one zstd stream whose records need not end where a compressed record ends. Compressed records
/// are added to `counts`. Stops at the first damage or at a limit, keeping whole records. Throws
/// ReadError (with `name`) when the spool file cannot be written, and whatever `onBlock` throws.
[[nodiscard]] ExpansionResult expandRecords(std::span<const std::byte> stream,
                                            const std::string& name, const ExpansionLimits& limits,
                                            CountTable& counts,
                                            const std::function<void(std::uint64_t)>& onBlock);

} // namespace samplefold::perfdata
