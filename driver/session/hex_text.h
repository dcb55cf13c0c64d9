#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace samplefold::session {

/// Bytes as lower-case hexadecimal digits, two each, in their order.
inline std::string hexText(std::span<const std::uint8_t> bytes)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

} // namespace samplefold::session
