#pragma once

#include <PORTA_2_18/export.h>

#include <cstdint>
#include <string_view>

namespace PORTA_2_18::generic::convert {

/// Reads the whole of `text` as an unsigned 64-bit number. `radix` is 2 to 36, or 0 to tell it by
/// the prefix (0x hexadecimal, 0 octal, else decimal). With `allowTrailing` text behind the number
/// is left aside. Returns false, with `out` untouched, on empty text, a sign, a bad digit, overflow
/// or any other radix. Any thread.
PORTA_2_18_API bool str_to_uint64(std::string_view text, std::uint64_t& out, int radix,
                                  bool allowTrailing);

} // namespace PORTA_2_18::generic::convert
