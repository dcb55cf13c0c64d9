#pragma once

#include <jitlens_3_13/symbol_resolver.h>

#include <cstdint>

namespace jitlens_3_13 {

class ModuleImpl;

/// Asks the modules of one loader, which hold everything themselves.
class SymbolResolverImpl : public ISymbolResolver {
public:
    explicit SymbolResolverImpl(std::uint64_t loader) : m_loader(loader) {}

    bool findSymbol(const IModule& module, std::uint64_t rva, symbol_t& symbol) const override;
    bool findLine(const IModule& module, std::uint64_t rva, source_line_t& line) const override;

private:
    const ModuleImpl* ours(const IModule& module) const noexcept;

    std::uint64_t m_loader;
};

} // namespace jitlens_3_13
