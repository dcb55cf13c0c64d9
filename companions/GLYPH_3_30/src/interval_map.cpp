#include "interval_map.h"

#include "last_up_to.h"

#include <iterator>
#include <utility>

namespace GLYPH_3_30 {

const piece_t* IntervalMap::find(std::uint64_t address) const noexcept
{
    const piece_t* piece =
        lastUpTo(m_pieces, address, [](const piece_t& p) noexcept { return p.start; });
    return piece != nullptr && address < piece->end ? piece : nullptr;
}

void IntervalPainter::paint(range_t range, std::uint32_t value)
{
    if (range.start >= range.end) return;
    // Mostly they come by address.
    if (m_paint.empty() || std::prev(m_paint.end())->second.end <= range.start) {
        m_paint.emplace_hint(m_paint.end(), range.start, paint_t{range.end, value});
        return;
    }
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
