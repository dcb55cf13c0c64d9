#include "symbol_resolver_impl.h"

#include "module_impl.h"

namespace jitlens_3_13 {

bool SymbolResolverImpl::findSymbol(const IModule& module, std::uint64_t rva,
                                    symbol_t& symbol) const
{
    const ModuleImpl* own = ours(module);
    return own != nullptr && own->code().findSymbol(rva, symbol);
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
