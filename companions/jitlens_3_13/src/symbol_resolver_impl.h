#pragma once

#include <jitlens_3_13/symbol_resolver.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <cstdint>
#include <shared_mutex>
#include <vector>

namespace jitlens_3_13 {

class ModuleImpl;

/// Asks the modules of one loader, which hold everything themselves. Any thread.
class SymbolResolverImpl : public ISymbolResolver {
public:
    explicit SymbolResolverImpl(std::uint64_t loader) : m_loader(loader) {}
    SymbolResolverImpl(const SymbolResolverImpl&) = delete;
    SymbolResolverImpl& operator=(const SymbolResolverImpl&) = delete;
    ~SymbolResolverImpl() override;

    /// Takes part in questions about all modules from now on.
    void addModule(boost::intrusive_ptr<ModuleImpl> module);

    bool findSymbol(const IModule& module, std::uint64_t rva, symbol_t& symbol) const override;
    bool findSymbol(std::uint64_t rva, symbol_t& symbol) const override;
    bool findCode(const IModule* module, std::uint64_t rva, symbol_t& symbol,
                  code_stretch_t& stretch) const override;
    bool findLine(const IModule& module, std::uint64_t rva, source_line_t& line) const override;

private:
    const ModuleImpl* ours(const IModule& module) const noexcept;

    bool findInAll(std::uint64_t rva, symbol_t& symbol, code_stretch_t& stretch) const;

    std::uint64_t m_loader;
    mutable std::shared_mutex m_mutex;
    std::vector<boost::intrusive_ptr<ModuleImpl>> m_modules; ///< those with code
};

} // namespace jitlens_3_13
