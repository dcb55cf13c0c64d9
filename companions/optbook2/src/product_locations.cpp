#include <optbook2/product_locations.h>

#include "program_folder.h"
#include "tool_folder.h"

#include <toolbelt2/environment.h>

#include <filesystem>
#include <system_error>

namespace optbook2 {
namespace {

class ProductLocations final : public IProductLocations {
public:
    std::optional<std::string> getToolDirectory(arch_t arch) const override
    {
        if (arch != getArch() || arch == arch_t::other) return std::nullopt;
        const std::string chosen = tb2::get_environ_value("SAMPLEFOLD_TOOL_DIR");
        if (!chosen.empty()) return chosen;
        const std::string library = libraryFolder();
        if (library.empty()) return std::nullopt;
        std::error_code missing;
        const auto folder =
            std::filesystem::canonical(library + "/" + g_toolFolderFromLibrary, missing);
        if (missing) return std::nullopt;
        return folder.string();
    }
};

} // namespace

const IProductLocations& IProductLocations::get()
{
    static const ProductLocations locations;
    return locations;
}

arch_t IProductLocations::getArch()
{
#ifdef __x86_64__
    return arch_t::x86_64;
#else
    return arch_t::other;
#endif
}

} // namespace optbook2
