#pragma once

#include <cstdint>
#include <string_view>

namespace GLYPH_3_30 {

/// About how long a mangled name may become at most. Parts of a name can stand for earlier parts,
/// so that a short one may grow to more than fits the memory.
std::uint64_t demangledSizeBound(std::string_view name);

} // namespace GLYPH_3_30
