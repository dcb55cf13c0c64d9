#pragma once

#include "export.h"

#include <cstdint>
#include <iosfwd>

namespace samplefold_1 {

/// What a hardware branch record says besides its addresses. A plain value; any thread.
struct SAMPLEFOLD_1_API LbrInfo {
    /// Decodes an information word: bits 0 to 15 cycles, 61 transaction abort, 62 in a
    /// transaction, 63 mispredicted. The other bits are not looked at.
    explicit LbrInfo(std::uint64_t word) noexcept;
    LbrInfo(std::uint16_t cycles, bool mispredicted, bool inHtm, bool htmAbort) noexcept;

    std::uint16_t cycles; ///< since the branch record before
    bool mispredicted;
    bool inHtm;    ///< the branch was inside a hardware transaction
    bool htmAbort; ///< the branch is a transaction abort

    friend bool operator==(const LbrInfo&, const LbrInfo&) = default;
};

/// Writes the record in one line without its end. The fill '0' and the hexadecimal base stay set on
/// the stream.
SAMPLEFOLD_1_API std::ostream& operator<<(std::ostream& out, const LbrInfo& info);

} // namespace samplefold_1
