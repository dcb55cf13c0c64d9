#include "range_impl.h"

#include "bank_parts.h"

#include <vector>

namespace GLYPH_3_30 {

status_t RangeImpl::getStart(SymMgrObjectPtr<IAddress>& address) const
{
    address = new toolbelt2::ref_counted_t<AddressImpl>(m_symbol.start,
                                                        m_bank->getPreferredLoadAddress());
    return status::success;
}

status_t RangeImpl::getEnd(SymMgrObjectPtr<IAddress>& address) const
{
    address =
        new toolbelt2::ref_counted_t<AddressImpl>(m_symbol.end, m_bank->getPreferredLoadAddress());
    return status::success;
}

SymMgrObjectPtr<ISymbol> RangeImpl::getSymbol() const
{
    return new toolbelt2::ref_counted_t<SymbolImpl>(m_bank, m_symbol.name, m_symbol.kind);
}

status_t RangeImpl::getInnerRange(SymMgrObjectPtr<ISymbolRange>& range,
                                  const IAddress& address) const
{
    range.reset();
    const std::uint64_t value = address.getValue();
    std::vector<source_frame_t> frames;
    if (value < m_symbol.start || value >= m_symbol.end || !m_bank->findFrames(value, frames))
        return status::notFound;
    // The last frame is the function itself, and further in stands what was inlined into it.
    const std::uint32_t depth = m_depth + 1;
    if (depth >= frames.size()) return status::notFound;
    const source_frame_t& frame = frames[frames.size() - 1 - depth];
    symbol_t inner;
    inner.name = frame.function;
    inner.start = frame.start;
    inner.end = frame.end;
    inner.size = frame.end - frame.start;
    inner.origin = symbol_origin_t::debugInfo;
    if (inner.size == 0) return status::notFound;
    range = new toolbelt2::ref_counted_t<RangeImpl>(m_bank, inner, depth);
    return status::success;
}

} // namespace GLYPH_3_30
