// Fuzz target of module images: opens the bytes and asks for symbols, ranges, inlined functions and
// lines all over.

#include "ask_all.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    glyph_test::askAll({reinterpret_cast<const std::byte*>(data), size}, 32);
    return 0;
}
