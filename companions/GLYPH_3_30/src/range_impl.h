#pragma once

#include <GLYPH_3_30/module_symbol_bank.h>

#include <cstdint>

namespace GLYPH_3_30 {

class SymbolImpl : public ISymbol {
public:
    SymbolImpl(SymMgrObjectPtr<const IModuleSymbolBank> bank, const char* name, symbol_kind_t kind)
        : m_bank(std::move(bank)), m_name(name), m_kind(kind)
    {
    }
    const char* getName() const noexcept override { return m_name; }
    std::string getDemangledName() const override { return demangle(m_name); }
    symbol_kind_t getKind() const noexcept override { return m_kind; }

private:
    SymMgrObjectPtr<const IModuleSymbolBank> m_bank; ///< owns the name
    const char* m_name;
    symbol_kind_t m_kind;
};

/// A function, or at a depth of 1 and more what was inlined into it.
class RangeImpl : public ISymbolRange {
public:
    RangeImpl(SymMgrObjectPtr<const IModuleSymbolBank> bank, const symbol_t& symbol,
              std::uint32_t depth)
        : m_bank(std::move(bank)), m_symbol(symbol), m_depth(depth)
    {
    }
    status_t getStart(SymMgrObjectPtr<IAddress>& address) const override;
    status_t getEnd(SymMgrObjectPtr<IAddress>& address) const override;
    SymMgrObjectPtr<ISymbol> getSymbol() const override;
    status_t getInnerRange(SymMgrObjectPtr<ISymbolRange>& range,
                           const IAddress& address) const override;

private:
    SymMgrObjectPtr<const IModuleSymbolBank> m_bank;
    symbol_t m_symbol;
    std::uint32_t m_depth;
};

} // namespace GLYPH_3_30
