#include "jitlens_source.h"

#include "never_returning.h"

#include <algorithm>
#include <limits>

namespace pathnav_3 {
namespace {

using jitlens_3_13::code_stretch_t;
using jitlens_3_13::symbol_t;

constexpr std::uint64_t g_lastAddress = std::numeric_limits<std::uint64_t>::max();

} // namespace

ObjectPtr<IDataSource>
IJITLENSDataSource::create(const boost::intrusive_ptr<jitlens_3_13::ISymbolResolver>& resolver,
                           std::int32_t architecture, std::uint64_t base,
                           symbol_name_callback_t nameOf, const jitlens_3_13::region_t* region)
{
    if (architecture != x86_64 || base != std::numeric_limits<std::uint64_t>::max()) return nullptr;
    // A region of no module has no code.
    const bool isEmpty = region != nullptr && region->module == nullptr;
    return new toolbelt2::ref_counted_t<JitlensSource>(
        isEmpty ? nullptr : resolver, region != nullptr ? region->module : nullptr, nameOf);
}

bool JitlensSource::find(std::uint64_t rva, symbol_t& symbol, code_stretch_t& stretch) const
{
    return m_resolver->findCode(m_module.get(), rva, symbol, stretch);
}

bool JitlensSource::findCode(std::uint64_t rva, code_range_t& range) const
{
    symbol_t symbol;
    code_stretch_t stretch;
    if (m_resolver == nullptr || !find(rva, symbol, stretch)) return false;
    range = {stretch.start, stretch.end, stretch.start == symbol.rva};
    return true;
}

bool JitlensSource::findNextCode(std::uint64_t rva, code_range_t& range) const
{
    symbol_t symbol;
    code_stretch_t stretch;
    if (m_resolver == nullptr) return false;
    for (std::uint64_t at = rva; at != g_lastAddress; at = stretch.end) {
        if (!find(at, symbol, stretch) || stretch.start < rva) continue;
        range = {stretch.start, stretch.end, stretch.start == symbol.rva};
        return true;
    }
    return false;
}

std::size_t JitlensSource::readCode(std::uint64_t rva, std::span<std::byte> bytes) const
{
    symbol_t symbol;
    code_stretch_t stretch;
    std::size_t filled = 0;
    while (m_resolver != nullptr && filled < bytes.size() && find(rva + filled, symbol, stretch)) {
        const std::uint64_t at = rva + filled;
        const std::size_t count = std::min<std::uint64_t>(stretch.end - at, bytes.size() - filled);
        const auto code = symbol.code.subspan(at - symbol.rva, count);
        std::copy(code.begin(), code.end(), bytes.begin() + static_cast<std::ptrdiff_t>(filled));
        filled += count;
    }
    return filled;
}

bool JitlensSource::neverReturns(std::uint64_t rva) const
{
    const char* name = m_nameOf != nullptr ? m_nameOf(rva) : nullptr;
    if (name != nullptr) return isNeverReturning(name);
    symbol_t symbol;
    code_stretch_t stretch;
    return m_resolver != nullptr && find(rva, symbol, stretch) && symbol.rva == rva &&
           isNeverReturning(symbol.name);
}

} // namespace pathnav_3
