#include <GLYPH_3_30/symbol.h>

#include "demangled_size.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <string_view>

namespace GLYPH_3_30 {
namespace {

constexpr std::uint64_t g_maxDemangledBytes = 1 << 24;

bool isMangled(std::string_view name)
{
    return name.starts_with("_Z") || name.starts_with("___Z");
}

} // namespace

std::string demangle(const char* name)
{
    if (name == nullptr) return {};
    if (!isMangled(name) || demangledSizeBound(name) > g_maxDemangledBytes) return name;
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(name, nullptr, nullptr, &status), &std::free);
    return status == 0 && text != nullptr ? text.get() : name;
}

} // namespace GLYPH_3_30
