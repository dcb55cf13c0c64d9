#include "symbol_resolver_impl.h"

#include "module_impl.h"

#include <algorithm>
#include <limits>
#include <mutex>
#include <utility>

namespace jitlens_3_13 {
namespace {

constexpr code_stretch_t g_everywhere{0, std::numeric_limits<std::uint64_t>::max()};

} // namespace

SymbolResolverImpl::~SymbolResolverImpl() = default;

void SymbolResolverImpl::addModule(boost::intrusive_ptr<ModuleImpl> module)
{
    if (module->classValue() == 0) return;
    const std::unique_lock lock(m_mutex);
    m_modules.push_back(std::move(module));
}

bool SymbolResolverImpl::findSymbol(const IModule& module, std::uint64_t rva,
                                    symbol_t& symbol) const
{
    const ModuleImpl* own = ours(module);
    return own != nullptr && own->code().findSymbol(rva, symbol);
}

bool SymbolResolverImpl::findSymbol(std::uint64_t rva, symbol_t& symbol) const
{
    code_stretch_t stretch;
    return findInAll(rva, symbol, stretch);
}

bool SymbolResolverImpl::findCode(const IModule* module, std::uint64_t rva, symbol_t& symbol,
                                  code_stretch_t& stretch) const
{
    if (module == nullptr) return findInAll(rva, symbol, stretch);
    const ModuleImpl* own = ours(*module);
    if (own != nullptr) return own->code().findCode(rva, symbol, stretch);
    stretch = g_everywhere;
    return false;
}

bool SymbolResolverImpl::findInAll(std::uint64_t rva, symbol_t& symbol,
                                   code_stretch_t& stretch) const
{
    const std::shared_lock lock(m_mutex);
    stretch = g_everywhere;
    int found = 0;
    for (const boost::intrusive_ptr<ModuleImpl>& module : m_modules) {
        symbol_t candidate;
        code_stretch_t part;
        if (module->code().findCode(rva, candidate, part) && ++found == 1) symbol = candidate;
        stretch = {std::max(stretch.start, part.start), std::min(stretch.end, part.end)};
    }
    return found == 1;
}

bool SymbolResolverImpl::findLine(const IModule& module, std::uint64_t rva,
                                  source_line_t& line) const
{
    const ModuleImpl* own = ours(module);
    return own != nullptr && own->code().findLine(rva, line);
}

const ModuleImpl* SymbolResolverImpl::ours(const IModule& module) const noexcept
{
    const auto* own = dynamic_cast<const ModuleImpl*>(&module);
    return own != nullptr && own->loader() == m_loader ? own : nullptr;
}

} // namespace jitlens_3_13
