#pragma once

#include "byte_reader.h"

#include <cstdint>
#include <vector>

// Reader of perf maps: lines "START SIZE NAME".
namespace jitlens_3_13 {

struct map_line_t {
    std::uint64_t first = 0;
    std::uint64_t last = 0; ///< included
    std::uint32_t name = 0; ///< place in the file
    std::uint32_t nameSize = 0;
};

/// A stretch of addresses that belongs to one line.
struct map_piece_t {
    std::uint64_t first = 0;
    std::uint64_t last = 0; ///< included
    std::uint32_t line = 0; ///< index in map_t::lines
};

struct map_t {
    std::vector<map_line_t> lines;   ///< those that make sense, in the order of the file
    std::vector<map_piece_t> pieces; ///< by address, none overlaps another
    std::uint64_t skipped = 0;       ///< lines that make no sense
};

/// Reads a perf map of at most g_maxMapBytes. An address belongs to the last line that holds it.
/// Blank lines are nothing. There are at most two pieces per line.
map_t readMap(bytes_t bytes);

} // namespace jitlens_3_13
