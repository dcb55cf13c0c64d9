// Makes the text that `lspci -xxx` prints for made-up functions.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>

namespace samplefold::topology::testing {

/// The first 256 bytes of a function's configuration space.
class ConfigSpace {
public:
    ConfigSpace(std::uint16_t vendor, std::uint16_t device, std::uint16_t classCode)
    {
        put16(0x00, vendor);
        put16(0x02, device);
        put16(0x0a, classCode);
    }
    /// Makes it a bridge to other buses.
    ConfigSpace& bridge(std::uint8_t primary, std::uint8_t secondary, std::uint8_t subordinate)
    {
        m_bytes[0x0e] = 1;
        m_bytes[0x18] = primary;
        m_bytes[0x19] = secondary;
        m_bytes[0x1a] = subordinate;
        return *this;
    }
    /// Adds the PCI Express capability: speeds by their number in its registers, lanes.
    ConfigSpace& link(unsigned speed, unsigned lanes, unsigned runningSpeed, unsigned runningLanes)
    {
        constexpr std::size_t at = 0x40;
        m_bytes[0x06] = 0x10; // there is a list of capabilities
        m_bytes[0x34] = at;
        m_bytes[at] = 0x10;
        m_bytes[at + 2] = 2; // version
        put16(at + 0x0c, static_cast<std::uint16_t>(speed | lanes << 4));
        put16(at + 0x12, static_cast<std::uint16_t>(runningSpeed | runningLanes << 4));
        return *this;
    }
    ConfigSpace& subsystem(std::uint16_t vendor, std::uint16_t device)
    {
        put16(0x2c, vendor);
        put16(0x2e, device);
        return *this;
    }

    /// The text, `address` as lspci prints it.
    std::string dump(const std::string& address) const
    {
        std::string text = address + " made up\n";
        for (std::size_t row = 0; row < m_bytes.size(); row += 16) {
            char word[24];
            std::snprintf(word, sizeof word, "%02zx:", row);
            text += word;
            for (std::size_t i = 0; i < 16; ++i) {
                std::snprintf(word, sizeof word, " %02x", m_bytes[row + i]);
                text += word;
            }
            text += '\n';
        }
        return text + '\n';
    }

private:
    void put16(std::size_t at, std::uint16_t value)
    {
        m_bytes[at] = static_cast<std::uint8_t>(value);
        m_bytes[at + 1] = static_cast<std::uint8_t>(value >> 8);
    }

    std::array<std::uint8_t, 256> m_bytes{};
};

} // namespace samplefold::topology::testing
