#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace SEEK_2_13 {

/// Bytes as lower-case hexadecimal digits.
inline std::string hexOf(std::span<const std::byte> bytes)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const std::byte byte : bytes) {
        text += digits[std::to_integer<unsigned>(byte) >> 4];
        text += digits[std::to_integer<unsigned>(byte) & 15];
    }
    return text;
}

/// `text` in lower case if it is made of pairs of hexadecimal digits, one pair at least.
inline std::optional<std::string> lowerHex(std::string_view text)
{
    if (text.empty() || text.size() % 2 != 0) return std::nullopt;
    std::string lower(text);
    for (char& digit : lower) {
        if (digit >= 'A' && digit <= 'F') digit = static_cast<char>(digit - 'A' + 'a');
        if ((digit < '0' || digit > '9') && (digit < 'a' || digit > 'f')) return std::nullopt;
    }
    return lower;
}

} // namespace SEEK_2_13
