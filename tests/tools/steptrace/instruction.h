// What the tracer needs to know of an instruction.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace steptrace {

enum class InstructionKind : std::uint8_t {
    other,
    nearCall,
    nearReturn,
    jump,
    conditionalJump,
    systemCall,
};

struct Instruction {
    std::uint8_t length = 0;
    InstructionKind kind = InstructionKind::other;
};

inline constexpr std::size_t longestInstruction = 15;

/// The first instruction of 64-bit code; nothing when the bytes are none.
std::optional<Instruction> decode(std::span<const std::uint8_t> code);

} // namespace steptrace
