#pragma once

#include "perfdata/sample.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace samplefold::unwind {

/// The x86-64 registers of a sample by their DWARF numbers (psABI: rax, rdx, rcx, rbx, rsi, rdi,
/// rbp, rsp, r8 to r15, return address). The recording numbers them otherwise
/// (<asm/perf_regs.h>); those that DWARF has no number for are left out.
class UserRegisters {
public:
    static constexpr std::size_t count = 17;
    static constexpr std::size_t framePointer = 6;
    static constexpr std::size_t stackPointer = 7;
    static constexpr std::size_t instruction = 16;

    explicit UserRegisters(const perfdata::Registers& recorded);

    bool has(std::size_t number) const { return (m_set >> number & 1U) != 0; }
    std::uint64_t operator[](std::size_t number) const { return m_values[number]; }

private:
    std::array<std::uint64_t, count> m_values{};
    std::uint32_t m_set = 0; ///< bit per number
};

} // namespace samplefold::unwind
