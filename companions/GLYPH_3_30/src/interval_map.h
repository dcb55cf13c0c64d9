#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace GLYPH_3_30 {

/// Addresses [start, end).
struct range_t {
    std::uint64_t start = 0;
    std::uint64_t end = 0;

    bool holds(std::uint64_t address) const noexcept { return start <= address && address < end; }
};

/// Addresses [start, end) with the number that is theirs.
struct piece_t {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    std::uint32_t value = 0;
};

/// Pieces that do not overlap, by address. Immutable; any thread.
class IntervalMap {
public:
    IntervalMap() = default;
    explicit IntervalMap(std::vector<piece_t> pieces) : m_pieces(std::move(pieces)) {}

    /// Null when nothing is at the address.
    const piece_t* find(std::uint64_t address) const noexcept;
    const std::vector<piece_t>& pieces() const noexcept { return m_pieces; }

private:
    std::vector<piece_t> m_pieces;
};

/// Makes an IntervalMap of ranges that may overlap: what is painted later covers what is there.
class IntervalPainter {
public:
    /// Does nothing for an empty range.
    void paint(range_t range, std::uint32_t value);
    /// The pieces so far; pieces that touch stay apart.
    IntervalMap take();

private:
    struct paint_t {
        std::uint64_t end;
        std::uint32_t value;
    };

    void cutAt(std::uint64_t address);

    std::map<std::uint64_t, paint_t> m_paint; ///< by start
};

} // namespace GLYPH_3_30
