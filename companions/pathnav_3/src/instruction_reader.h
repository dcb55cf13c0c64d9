#pragma once

#include <pathnav_3/basic_block.h>

#include <Zydis/Zydis.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace pathnav_3 {

/// No instruction is longer.
inline constexpr std::size_t g_maxInstructionBytes = 15;

/// How an instruction passes control on. Bytes that are no instruction count as one of a single
/// byte that ends a block as terminator_t::invalid.
struct instruction_t {
    std::uint32_t size = 1;
    bool isTerminator = false;
    terminator_t kind = terminator_t::fallThrough; ///< when it is a terminator
    std::uint64_t target = IBasicBlock::unknownTarget;
};

/// Reads single instructions of 64-bit code. Any thread.
class InstructionReader {
public:
    InstructionReader();

    /// The instruction at the front of `bytes`, which has the address `rva`. What would need more
    /// bytes than there are is no instruction.
    instruction_t read(std::span<const std::byte> bytes, std::uint64_t rva) const;

private:
    ZydisDecoder m_decoder;
};

/// Whether control may come to what stands behind the terminator.
inline bool mayRunOn(terminator_t kind)
{
    return kind == terminator_t::fallThrough || kind == terminator_t::conditional ||
           kind == terminator_t::call;
}

} // namespace pathnav_3
