// Fuzz target of the perf map reader: reads the bytes and compares the pieces with a scan for the
// last line that holds an address.

#include "map_reader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace jitlens_3_13 {
namespace {

/// What must hold for any input.
void require(bool holds)
{
    if (!holds) std::abort();
}

std::size_t lastLineThatHolds(const map_t& map, std::uint64_t address)
{
    std::size_t line = map.lines.size();
    while (line > 0 && (address < map.lines[line - 1].first || map.lines[line - 1].last < address))
        --line;
    return line; // one behind it; 0 for none
}

std::size_t lineOfPiece(const map_t& map, std::uint64_t address)
{
    for (const map_piece_t& piece : map.pieces)
        if (piece.first <= address && address <= piece.last) return piece.line + std::size_t{1};
    return 0;
}

} // namespace

void fuzzOne(bytes_t bytes)
{
    const map_t map = readMap(bytes);
    const auto ends = std::count(bytes.begin(), bytes.end(), std::byte{'\n'});
    require(map.lines.size() + map.skipped <= static_cast<std::size_t>(ends) + 1);
    require(map.pieces.size() <= 2 * map.lines.size());
    for (std::size_t i = 1; i < map.pieces.size(); ++i)
        require(map.pieces[i - 1].last < map.pieces[i].first);
    for (const map_line_t& line : map.lines) {
        require(line.first <= line.last && line.nameSize > 0);
        const bytes_t name = bytes.subspan(line.name, line.nameSize);
        require(std::none_of(name.begin(), name.end(), [](std::byte byte) {
            return byte == std::byte{'\n'} || byte == std::byte{0};
        }));
        for (const std::uint64_t address : {line.first, line.last, line.first - 1, line.last + 1})
            require(lineOfPiece(map, address) == lastLineThatHolds(map, address));
    }
}

} // namespace jitlens_3_13

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    jitlens_3_13::fuzzOne({reinterpret_cast<const std::byte*>(data), size});
    return 0;
}
