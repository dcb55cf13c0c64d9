#pragma once

#include "interval_map.h"
#include "layout.h"

#include <GLYPH_3_30/symbol.h>

#include <cstdint>
#include <span>
#include <vector>

namespace GLYPH_3_30 {

/// The symbols of a module by address. Immutable; any thread.
class SymbolTable {
public:
    SymbolTable() = default;
    /// Orders `symbols`, drops those that are there twice, and fills their ends.
    SymbolTable(std::vector<symbol_t> symbols, const Layout& layout);

    /// As IModuleSymbolBank::findSymbol; null when nothing is there.
    const symbol_t* find(std::uint64_t address) const noexcept;
    std::span<const symbol_t> startingAt(std::uint64_t address) const noexcept;
    std::span<const symbol_t> all() const noexcept { return m_symbols; }

private:
    void fillEnds(const Layout& layout);
    void paintLayer(IntervalPainter& painter, bool isSized, symbol_kind_t kind) const;

    std::vector<symbol_t> m_symbols; ///< by address and preference
    IntervalMap m_byAddress;         ///< to an index of m_symbols
};

} // namespace GLYPH_3_30
