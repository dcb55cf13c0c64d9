#pragma once

#include <cstdint>
#include <ios>
#include <ostream>

// Addresses in the texts of the log.
namespace samplefold_1 {

/// Writes a number in hexadecimal with "0x" before it, and leaves the stream as it was.
struct Hex {
    std::uint64_t value;
    int width = 0; ///< left-justified in a field of that many characters

    friend std::ostream& operator<<(std::ostream& out, const Hex& number)
    {
        const std::ios_base::fmtflags flags = out.flags();
        out.width(number.width);
        out << std::hex << std::showbase << std::left << number.value;
        out.flags(flags);
        return out;
    }
};

/// An RVA as the checks of links write it.
inline Hex rvaText(std::uint64_t rva)
{
    return {rva, 18};
}

} // namespace samplefold_1
