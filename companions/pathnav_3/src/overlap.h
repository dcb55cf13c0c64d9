#pragma once

#include "instruction_reader.h"
#include "piece.h"

#include <pathnav_3/data_source.h>

#include <cstdint>
#include <vector>

namespace pathnav_3 {

/// Adds the instructions from `rva` on, which is no start of an instruction in `piece`, as an
/// overlapping block: up to a terminator, or to where they meet instructions that are known.
/// Appends to `targets` where blocks must begin for that.
void addOverlap(const InstructionReader& reader, const IDataSource& source, std::uint64_t rva,
                Piece& piece, std::vector<std::uint64_t>& targets);

} // namespace pathnav_3
