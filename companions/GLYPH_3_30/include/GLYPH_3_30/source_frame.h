#pragma once

#include <cstdint>

namespace GLYPH_3_30 {

/// A function at an address: the one whose code is there, or one that it was inlined into. The
/// texts live as long as the bank.
struct source_frame_t {
    const char* function = ""; ///< mangled where the debug information has that; empty when unknown
    const char* file = "";     ///< empty when unknown
    std::uint32_t line = 0;    ///< 0 when unknown
    std::uint32_t column = 0;  ///< 0 when unknown
    std::uint64_t start = 0;   ///< image addresses of its piece that holds the address; 0 and 0
    std::uint64_t end = 0;     ///< when only the line is known
    bool isInlined = false;    ///< the next frame tells where it was called
};

} // namespace GLYPH_3_30
