#include "unit_scopes.h"

#include <dwarf.h>

#include <algorithm>
#include <cstddef>

namespace GLYPH_3_30 {
namespace {

/// A unit is read until one lies deeper. Inlining and blocks together stay well below.
constexpr std::size_t g_maxDepth = 256;
/// More pieces of one function are left out.
constexpr std::size_t g_maxRanges = 4096;

/// Goes through the entries of a unit.
class Walk {
public:
    Walk(const Layout& layout, WorkLimit& limit, unit_scopes_t& found)
        : m_layout(layout), m_limit(limit), m_found(found)
    {
    }

    bool run(Dwarf_Die unit)
    {
        Dwarf_Die first;
        const int answer = ::dwarf_child(&unit, &first);
        if (answer != 0) return answer > 0;
        enter(first, g_noScope);
        bool isSound = true;
        while (isSound && !m_levels.empty())
            isSound = step();
        m_found.innermost = m_painter.take();
        return isSound;
    }

private:
    /// A list of siblings: where the walk is in it.
    struct level_t {
        Dwarf_Die die;
        Dwarf_Off offset;
        std::uint32_t scope; ///< around the list
        bool isVisited;
    };

    void enter(const Dwarf_Die& die, std::uint32_t scope)
    {
        m_levels.push_back({die, 0, scope, false});
        m_levels.back().offset = ::dwarf_dieoffset(&m_levels.back().die);
    }

    /// Visits the entry at the top, or goes on behind it. False at damage and at the limit.
    bool step()
    {
        level_t& top = m_levels.back();
        if (top.isVisited) return moveOn(top);
        top.isVisited = true;
        m_furthest = std::max(m_furthest, top.offset);
        std::uint32_t scope = top.scope;
        if (!m_limit.spend(1) || !addScope(top, scope)) return false;
        Dwarf_Die child;
        // All are entered, even types, so that it is known what finding the next one costs.
        if (::dwarf_haschildren(&top.die) != 1 || ::dwarf_child(&top.die, &child) != 0) return true;
        if (m_levels.size() == g_maxDepth || ::dwarf_dieoffset(&child) <= top.offset) return false;
        enter(child, scope);
        return true;
    }

    bool moveOn(level_t& top)
    {
        // Finding the next one may cost reading all that is below this one.
        if (!m_limit.spend(m_furthest - top.offset)) return false;
        Dwarf_Die next;
        const int answer = ::dwarf_siblingof(&top.die, &next);
        if (answer != 0) {
            m_levels.pop_back();
            return answer > 0;
        }
        const Dwarf_Off offset = ::dwarf_dieoffset(&next);
        if (offset <= m_furthest) return false; // it would lead in a circle
        if (!m_limit.spend(offset - m_furthest)) return false;
        top = {next, offset, top.scope, false};
        return true;
    }

    /// Notes a function with addresses; `scope` becomes its number.
    bool addScope(level_t& level, std::uint32_t& scope)
    {
        const int tag = ::dwarf_tag(&level.die);
        if (tag != DW_TAG_subprogram && tag != DW_TAG_inlined_subroutine) return true;
        const std::size_t firstRange = m_found.ranges.size();
        const bool isSound = readRanges(level.die, m_layout, m_limit, m_found.ranges);
        if (m_found.ranges.size() == firstRange) return isSound;
        const auto number = static_cast<std::uint32_t>(m_found.scopes.size());
        scope_t& added = m_found.scopes.emplace_back();
        added.die = level.offset;
        added.parent = level.scope;
        added.firstRange = static_cast<std::uint32_t>(firstRange);
        added.rangeCount = static_cast<std::uint32_t>(m_found.ranges.size() - firstRange);
        added.isInlined = tag == DW_TAG_inlined_subroutine;
        for (std::size_t i = firstRange; i < m_found.ranges.size(); ++i)
            m_painter.paint(m_found.ranges[i], number);
        scope = number;
        return isSound;
    }

    const Layout& m_layout;
    WorkLimit& m_limit;
    unit_scopes_t& m_found;
    IntervalPainter m_painter;
    std::vector<level_t> m_levels;
    Dwarf_Off m_furthest = 0; ///< of all entries that were visited
};

} // namespace

bool readRanges(Dwarf_Die& die, const Layout& layout, WorkLimit& limit,
                std::vector<range_t>& ranges)
{
    // Most entries have no addresses, which is cheaper to see than to fail at.
    if (::dwarf_hasattr(&die, DW_AT_low_pc) == 0 && ::dwarf_hasattr(&die, DW_AT_ranges) == 0)
        return true;
    Dwarf_Addr base = 0;
    range_t range;
    std::ptrdiff_t at = 0;
    for (std::size_t count = 0; count < g_maxRanges; ++count) {
        at = ::dwarf_ranges(&die, at, &base, &range.start, &range.end);
        if (at <= 0) return true;
        if (!limit.spend(1)) return false;
        // Functions that the linker has left out stand at addresses without code.
        range_t code;
        if (range.start < range.end && layout.findCode(range.start, code)) ranges.push_back(range);
    }
    return true;
}

bool readScopes(Dwarf_Die unit, const Layout& layout, WorkLimit& limit, unit_scopes_t& scopes)
{
    return Walk(layout, limit, scopes).run(unit);
}

} // namespace GLYPH_3_30
