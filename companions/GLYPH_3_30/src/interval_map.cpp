#include "interval_map.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace GLYPH_3_30 {

const piece_t* IntervalMap::find(std::uint64_t address) const noexcept
{
    const auto behind =
        std::upper_bound(m_pieces.begin(), m_pieces.end(), address,
                         [](std::uint64_t a, const piece_t& piece) { return a < piece.start; });
    if (behind == m_pieces.begin()) return nullptr;
    const piece_t& piece = *std::prev(behind);
    return address < piece.end ? &piece : nullptr;
}

void IntervalPainter::paint(range_t range, std::uint32_t value)
{
    if (range.start >= range.end) return;
    cutAt(range.start);
    cutAt(range.end);
    const auto first = m_paint.lower_bound(range.start);
    const auto place = m_paint.erase(first, m_paint.lower_bound(range.end));
    m_paint.emplace_hint(place, range.start, paint_t{range.end, value});
}

void IntervalPainter::cutAt(std::uint64_t address)
{
    const auto behind = m_paint.lower_bound(address);
    if (behind == m_paint.begin()) return;
    paint_t& before = std::prev(behind)->second;
    if (before.end <= address) return;
    m_paint.emplace_hint(behind, address, before);
    before.end = address;
}

IntervalMap IntervalPainter::take()
{
    std::vector<piece_t> pieces;
    pieces.reserve(m_paint.size());
    for (const auto& [start, paint] : m_paint)
        pieces.push_back({start, paint.end, paint.value});
    m_paint.clear();
    return IntervalMap(std::move(pieces));
}

} // namespace GLYPH_3_30
