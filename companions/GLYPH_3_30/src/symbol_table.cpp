#include "symbol_table.h"

#include <algorithm>
#include <cstring>
#include <tuple>
#include <utility>

namespace GLYPH_3_30 {
namespace {

/// As much of two names is compared; a file can hold many long ones that share their end.
constexpr std::size_t g_comparedBytes = 512;

int compareNames(const char* a, const char* b)
{
    return a == b ? 0 : std::strncmp(a, b, g_comparedBytes);
}

int leadingUnderscores(const char* name)
{
    int count = 0;
    while (name[count] == '_' && count < 8)
        ++count;
    return count;
}

/// What orders aliases before their names do; the lowest is preferred.
auto rank(const symbol_t& symbol)
{
    return std::tuple(symbol.kind == symbol_kind_t::label,
                      symbol.origin == symbol_origin_t::linkageTable,
                      symbol.binding == symbol_binding_t::local, leadingUnderscores(symbol.name),
                      symbol.binding == symbol_binding_t::weak, ~symbol.size);
}

/// Of two that start together.
bool isPreferred(const symbol_t& a, const symbol_t& b)
{
    const auto rankOfA = rank(a);
    const auto rankOfB = rank(b);
    if (rankOfA != rankOfB) return rankOfA < rankOfB;
    const int order = compareNames(a.name, b.name);
    return order != 0 ? order < 0 : a.origin < b.origin;
}

bool isSame(const symbol_t& a, const symbol_t& b)
{
    return a.start == b.start && a.size == b.size && a.kind == b.kind &&
           compareNames(a.name, b.name) == 0;
}

/// By address and preference. Few start together, and comparing names is left to those.
void sortSymbols(std::vector<symbol_t>& symbols)
{
    const auto isLower = [](const symbol_t& a, const symbol_t& b) { return a.start < b.start; };
    if (!std::is_sorted(symbols.begin(), symbols.end(), isLower))
        std::sort(symbols.begin(), symbols.end(), isLower);
    for (auto first = symbols.begin(); first != symbols.end();) {
        const auto behind = std::find_if(
            first, symbols.end(), [&](const symbol_t& s) { return s.start != first->start; });
        std::sort(first, behind, isPreferred);
        first = behind;
    }
}

bool startsBefore(const symbol_t& symbol, std::uint64_t address)
{
    return symbol.start < address;
}

} // namespace

SymbolTable::SymbolTable(std::vector<symbol_t> symbols, const Layout& layout)
    : m_symbols(std::move(symbols))
{
    sortSymbols(m_symbols);
    m_symbols.erase(std::unique(m_symbols.begin(), m_symbols.end(), isSame), m_symbols.end());
    m_symbols.shrink_to_fit();
    fillEnds(layout);
    IntervalPainter painter;
    for (const bool isSized : {false, true})
        for (const symbol_kind_t kind : {symbol_kind_t::label, symbol_kind_t::function})
            paintLayer(painter, isSized, kind);
    m_byAddress = painter.take();
}

void SymbolTable::fillEnds(const Layout& layout)
{
    std::uint64_t next = ~std::uint64_t{0}; // start of the next symbol that starts later
    for (std::size_t i = m_symbols.size(); i-- > 0;) {
        symbol_t& symbol = m_symbols[i];
        if (i + 1 < m_symbols.size() && m_symbols[i + 1].start != symbol.start)
            next = m_symbols[i + 1].start;
        range_t code{symbol.start, symbol.start};
        layout.findCode(symbol.start, code);
        const std::uint64_t left = code.end - symbol.start;
        symbol.end = symbol.size != 0 ? symbol.start + std::min(symbol.size, left)
                                      : std::min(next, code.end);
    }
}

void SymbolTable::paintLayer(IntervalPainter& painter, bool isSized, symbol_kind_t kind) const
{
    for (std::size_t i = 0; i < m_symbols.size();) {
        // Of those that start together the preferred one is painted last.
        std::size_t behind = i;
        while (behind < m_symbols.size() && m_symbols[behind].start == m_symbols[i].start)
            ++behind;
        for (std::size_t k = behind; k-- > i;)
            if ((m_symbols[k].size != 0) == isSized && m_symbols[k].kind == kind)
                painter.paint({m_symbols[k].start, m_symbols[k].end},
                              static_cast<std::uint32_t>(k));
        i = behind;
    }
}

const symbol_t* SymbolTable::find(std::uint64_t address) const noexcept
{
    const piece_t* piece = m_byAddress.find(address);
    return piece != nullptr ? &m_symbols[piece->value] : nullptr;
}

std::span<const symbol_t> SymbolTable::startingAt(std::uint64_t address) const noexcept
{
    const auto first = std::lower_bound(m_symbols.begin(), m_symbols.end(), address, startsBefore);
    auto behind = first;
    while (behind != m_symbols.end() && behind->start == address)
        ++behind;
    return {first, behind};
}

} // namespace GLYPH_3_30
