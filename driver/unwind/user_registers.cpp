#include "unwind/user_registers.h"

namespace samplefold::unwind {
namespace {

constexpr std::uint8_t g_none = 0xFF;

/// DWARF numbers by the recording's: ax bx cx dx si di bp sp ip flags cs ss ds es fs gs r8 to r15.
constexpr std::array<std::uint8_t, 24> g_dwarfNumbers{
    0,      3,      2,      1,      4, 5, 6,  7,  16, g_none, g_none, g_none,
    g_none, g_none, g_none, g_none, 8, 9, 10, 11, 12, 13,     14,     15};

} // namespace

UserRegisters::UserRegisters(const perfdata::Registers& recorded)
{
    std::size_t next = 0;
    for (std::size_t bit = 0; bit < g_dwarfNumbers.size(); ++bit) {
        if ((recorded.mask >> bit & 1U) == 0) continue;
        if (next == recorded.values.size()) return;
        const std::uint64_t value = recorded.values[next++];
        const std::uint8_t number = g_dwarfNumbers[bit];
        if (number == g_none) continue;
        m_values[number] = value;
        m_set |= 1U << number;
    }
}

} // namespace samplefold::unwind
