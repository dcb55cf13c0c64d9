#pragma once

#include <charconv>
#include <cstdint>
#include <iterator>
#include <string>

namespace samplefold::report {

/// An address or number as 0x and hexadecimal digits.
inline std::string hexText(std::uint64_t value)
{
    char digits[16];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), value, 16).ptr;
    return "0x" + std::string(std::begin(digits), end);
}

} // namespace samplefold::report
