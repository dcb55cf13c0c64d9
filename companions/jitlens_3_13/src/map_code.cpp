#include "map_code.h"

#include "timeline.h"

#include <algorithm>
#include <utility>

namespace jitlens_3_13 {

MapCode::MapCode(std::vector<std::byte> bytes, map_t map)
    : m_bytes(std::move(bytes)), m_map(std::move(map))
{
}

bool MapCode::resolve(std::uint64_t, std::uint64_t address, std::uint64_t& rva) const
{
    const map_piece_t* piece = firstEndingFrom(address);
    if (piece == nullptr || piece->first > address) return false;
    rva = address;
    return true;
}

bool MapCode::findRegion(std::uint64_t, std::uint64_t first, std::uint64_t last,
                         region_t& region) const
{
    const map_piece_t* piece = firstEndingFrom(first);
    if (piece == nullptr || piece->first > last) return false;
    region = {piece->first, piece->last, 0, g_forever, piece->first, nullptr};
    return true;
}

bool MapCode::findSymbol(std::uint64_t rva, symbol_t& symbol) const
{
    const map_piece_t* piece = firstEndingFrom(rva);
    if (piece == nullptr || piece->first > rva) return false;
    const map_line_t& line = m_map.lines[piece->line];
    symbol = {textOf(bytes_t(m_bytes).subspan(line.name, line.nameSize)),
              line.first,
              line.last - line.first + 1,
              {}};
    return true;
}

bool MapCode::findLine(std::uint64_t, source_line_t&) const
{
    return false;
}

const map_piece_t* MapCode::firstEndingFrom(std::uint64_t address) const
{
    const auto found =
        std::partition_point(m_map.pieces.begin(), m_map.pieces.end(),
                             [address](const map_piece_t& piece) { return piece.last < address; });
    return found == m_map.pieces.end() ? nullptr : &*found;
}

std::unique_ptr<CodeFile> makeMapCode(std::vector<std::byte> bytes, source_t& source)
{
    map_t map = readMap(bytes);
    source.kind = module_kind_t::perfMap;
    source.functions = map.lines.size();
    source.skipped = map.skipped;
    if (map.lines.empty() && map.skipped != 0) {
        source.kind = module_kind_t::unknown;
        source.fault = "offset 0: neither a jitdump nor lines \"START SIZE NAME\"";
        return nullptr;
    }
    return std::make_unique<MapCode>(std::move(bytes), std::move(map));
}

} // namespace jitlens_3_13
