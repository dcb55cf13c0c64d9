#include <GLYPH_3_30/symbol_manager.h>

#include "bank_impl.h"

namespace GLYPH_3_30 {
namespace {

class SymbolManagerImpl : public ISymbolManager {
public:
    status_t loadBank(const char* path, arch_t arch, SymMgrObjectPtr<IModuleSymbolBank>& bank,
                      ISymbolFileResolver* resolver, std::uint32_t options,
                      const char* debugFile) override
    {
        bank.reset();
        if (path == nullptr) return status::badArgument;
        std::string fault;
        const SymMgrObjectPtr<ImageImpl> image = openImage(path, arch, false, fault);
        if (!image) return status::refused;
        const bank_options_t used{(options & load_option::symbols) != 0,
                                  (options & load_option::debugInfo) != 0};
        return makeBank(bank, image, resolver, used, (options & load_option::now) == 0, debugFile,
                        nullptr);
    }
};

} // namespace

status_t ISymbolManager::create(SymMgrObjectPtr<ISymbolManager>& manager)
{
    manager = new toolbelt2::ref_counted_t<SymbolManagerImpl>();
    return status::success;
}

} // namespace GLYPH_3_30
