#pragma once

#include "instruction_reader.h"
#include "piece.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace pathnav_3 {

/// Reads `bytes` from the start of `piece` on, one instruction behind the other, and fills it with
/// the blocks between their terminators. Appends where direct jumps and calls go to `targets`. With
/// `isCutOff` more bytes of the same code follow; then the piece ends before an instruction that
/// may need some of them.
void sweep(const InstructionReader& reader, std::span<const std::byte> bytes, bool isCutOff,
           Piece& piece, std::vector<std::uint64_t>& targets);

} // namespace pathnav_3
