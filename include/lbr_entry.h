#pragma once

#include "export.h"
#include "lbr_info.h"

#include <cstdint>
#include <iosfwd>

namespace samplefold_1 {

/// A branch as stack verification works on it: canonical addresses. A stack of branch records is a
/// vector of them, the oldest at index 0.
struct branch_t {
    std::uint64_t from = 0; ///< address of the branch instruction
    std::uint64_t to = 0;   ///< address that it reached
};

/// One decoded branch record. The words of the hardware carry flags above bit 47; the addresses are
/// made canonical by keeping the low 48 bits and repeating bit 47 above them. Equality goes by the
/// words as they were given, and the information. A plain value; any thread.
struct SAMPLEFOLD_1_API LbrEntry {
    LbrEntry(std::uint64_t from, std::uint64_t to, const LbrInfo& info) noexcept;
    /// `infoWord` is decoded as LbrInfo does it.
    LbrEntry(std::uint64_t from, std::uint64_t to, std::uint64_t infoWord) noexcept;
    /// A record without information, as of an information word of 0.
    LbrEntry(std::uint64_t from, std::uint64_t to) noexcept;

    std::uint64_t ipFrom; ///< canonical
    std::uint64_t ipTo;   ///< canonical
    LbrInfo info;
    std::uint64_t rawFrom; ///< as given
    std::uint64_t rawTo;   ///< as given

    SAMPLEFOLD_1_API friend bool operator==(const LbrEntry& a, const LbrEntry& b) noexcept;
};

/// Writes the record in one line without its end. The fill '0' and the hexadecimal base stay set on
/// the stream.
SAMPLEFOLD_1_API std::ostream& operator<<(std::ostream& out, const LbrEntry& entry);

} // namespace samplefold_1
