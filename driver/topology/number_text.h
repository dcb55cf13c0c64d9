#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

namespace samplefold::topology {

/// A number that the whole text is.
template <class Number>
std::optional<Number> wholeNumber(std::string_view text, int base)
{
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return number;
}

/// The same, decimal or behind 0x hexadecimal.
inline std::optional<std::uint64_t> decimalOrHex(std::string_view text)
{
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    if (isHex) text.remove_prefix(2);
    return wholeNumber<std::uint64_t>(text, isHex ? 16 : 10);
}

} // namespace samplefold::topology
