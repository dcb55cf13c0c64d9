#include "glyph_source.h"

#include "never_returning.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace pathnav_3 {
namespace {

using GLYPH_3_30::code_stretch_t;
using GLYPH_3_30::symbol_t;

/// Addresses at which the symbol may change, rising.
std::vector<std::uint64_t> bordersOf(std::span<const symbol_t> symbols)
{
    std::vector<std::uint64_t> borders;
    borders.reserve(2 * symbols.size());
    for (const symbol_t& symbol : symbols) {
        borders.push_back(symbol.start);
        borders.push_back(symbol.end);
    }
    std::sort(borders.begin(), borders.end());
    borders.erase(std::unique(borders.begin(), borders.end()), borders.end());
    return borders;
}

} // namespace

ObjectPtr<IDataSource>
IGLYPHDataSource::create(const GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank>& bank,
                         bool isRelocated, std::uint64_t base)
{
    if (isRelocated || base != std::numeric_limits<std::uint64_t>::max()) return nullptr;
    return new toolbelt2::ref_counted_t<GlyphSource>(bank);
}

bool GlyphSource::findCode(std::uint64_t rva, code_range_t& range) const
{
    const auto found = std::partition_point(ranges().begin(), ranges().end(),
                                            [rva](const code_range_t& r) { return r.end <= rva; });
    if (found == ranges().end() || rva < found->start) return false;
    range = *found;
    return true;
}

bool GlyphSource::findNextCode(std::uint64_t rva, code_range_t& range) const
{
    const auto found = std::partition_point(ranges().begin(), ranges().end(),
                                            [rva](const code_range_t& r) { return r.start < rva; });
    if (found == ranges().end()) return false;
    range = *found;
    return true;
}

std::size_t GlyphSource::readCode(std::uint64_t rva, std::span<std::byte> bytes) const
{
    return m_bank != nullptr ? m_bank->readCode(rva + m_bank->getPreferredLoadAddress(), bytes) : 0;
}

bool GlyphSource::neverReturns(std::uint64_t rva) const
{
    if (m_bank == nullptr) return false;
    const auto symbols = m_bank->getSymbolsAt(rva + m_bank->getPreferredLoadAddress());
    return std::any_of(symbols.begin(), symbols.end(),
                       [](const symbol_t& symbol) { return isNeverReturning(symbol.name); });
}

const std::vector<code_range_t>& GlyphSource::ranges() const
{
    std::call_once(m_once, [this] {
        if (m_bank == nullptr) return;
        const std::vector<std::uint64_t> borders = bordersOf(m_bank->getSymbols());
        for (const code_stretch_t& code : m_bank->getCode())
            addRanges(code, borders);
    });
    return m_ranges;
}

void GlyphSource::addRanges(const code_stretch_t& code,
                            const std::vector<std::uint64_t>& borders) const
{
    const std::uint64_t base = m_bank->getPreferredLoadAddress();
    auto border = std::upper_bound(borders.begin(), borders.end(), code.start);
    std::optional<std::uint64_t> previous; // start of the symbol of the last range
    for (std::uint64_t start = code.start; start < code.end;) {
        const bool isLast = border == borders.end() || *border >= code.end;
        const std::uint64_t end = isLast ? code.end : *border++;
        symbol_t symbol;
        std::optional<std::uint64_t> here;
        if (m_bank->findSymbol(start, symbol)) here = symbol.start;
        // A border of a symbol that another one covers divides nothing.
        if (start != code.start && here == previous)
            m_ranges.back().end = end - base;
        else
            m_ranges.push_back({start - base, end - base, here == start});
        previous = here;
        start = end;
    }
}

} // namespace pathnav_3
