#pragma once

#include <charconv>
#include <cstdint>
#include <string>

namespace samplefold_1 {

/// Lower-case hexadecimal of at least `width` digits, filled with zeros.
inline std::string hexText(std::uint32_t value, std::size_t width)
{
    char digits[8];
    const auto end = std::to_chars(digits, digits + sizeof digits, value, 16).ptr;
    const auto count = static_cast<std::size_t>(end - digits);
    return std::string(width > count ? width - count : 0, '0').append(digits, count);
}

/// Address of a PCI device without its function: 0000:3b:00.
inline std::string deviceText(std::uint32_t domain, std::uint32_t bus, std::uint32_t device)
{
    return hexText(domain, 4) + ":" + hexText(bus, 2) + ":" + hexText(device, 2);
}

} // namespace samplefold_1
