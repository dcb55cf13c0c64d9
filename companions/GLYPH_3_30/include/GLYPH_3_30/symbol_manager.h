#pragma once

#include <GLYPH_3_30/export.h>
#include <GLYPH_3_30/module_symbol_bank.h>

#include <cstdint>

namespace GLYPH_3_30 {

/// Bits of the options of ISymbolManager::loadBank.
namespace load_option {
inline constexpr std::uint32_t now = 1;       ///< read symbols at once, not by the first question
inline constexpr std::uint32_t symbols = 2;   ///< use tables of symbols
inline constexpr std::uint32_t debugInfo = 4; ///< use debug information
} // namespace load_option

/// Opens banks by path. Keeps none of them. Any thread.
class GLYPH_API ISymbolManager : public tb2::object_interface_t {
public:
    static status_t create(SymMgrObjectPtr<ISymbolManager>& manager);

    /// Image and bank of the module at `path`, as their create operations make them. `bank` is null
    /// after a failure.
    virtual status_t loadBank(const char* path, arch_t arch,
                              SymMgrObjectPtr<IModuleSymbolBank>& bank,
                              ISymbolFileResolver* resolver, std::uint32_t options,
                              const char* debugFile) = 0;
};

} // namespace GLYPH_3_30
