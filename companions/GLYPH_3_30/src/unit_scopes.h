#pragma once

#include "interval_map.h"
#include "layout.h"
#include "work_limit.h"

#include <elfutils/libdw.h>

#include <cstdint>
#include <vector>

namespace GLYPH_3_30 {

inline constexpr std::uint32_t g_noScope = ~std::uint32_t{0};

/// A function or an inlined function of a unit.
struct scope_t {
    Dwarf_Off die = 0;
    std::uint32_t parent = g_noScope; ///< the scope around it
    std::uint32_t firstRange = 0;     ///< its stretch of unit_scopes_t::ranges
    std::uint32_t rangeCount = 0;
    bool isInlined = false;
    // What is looked up when it is asked for:
    bool isNamed = false;
    bool isMangled = false; ///< `function` is the name that the linker knows
    bool isShort = true;    ///< a symbol may say more than `function`
    const char* function = "";
    const char* callFile = "";
    std::uint32_t callLine = 0;
    std::uint32_t callColumn = 0;
};

/// The functions of a unit as a tree, and by address.
struct unit_scopes_t {
    std::vector<scope_t> scopes; ///< a parent stands before its children
    std::vector<range_t> ranges;
    IntervalMap innermost; ///< address to an index of `scopes`
};

/// Appends the address ranges of `die` that start in code. False when the limit was reached.
bool readRanges(Dwarf_Die& die, const Layout& layout, WorkLimit& limit,
                std::vector<range_t>& ranges);

/// Reads the functions of the unit with the entry `unit`. False when that ended early, because the
/// unit is damaged or the limit was reached; what was found before that is there.
bool readScopes(Dwarf_Die unit, const Layout& layout, WorkLimit& limit, unit_scopes_t& scopes);

} // namespace GLYPH_3_30
