#pragma once

#include "code_file.h"
#include "map_reader.h"

#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

namespace jitlens_3_13 {

/// The code of a perf map. A relative address is the address itself.
class MapCode : public CodeFile {
public:
    MapCode(std::vector<std::byte> bytes, map_t map);

    bool resolve(std::uint64_t time, std::uint64_t address, std::uint64_t& rva) const override;
    bool findRegion(std::uint64_t time, std::uint64_t first, std::uint64_t last,
                    region_t& region) const override;
    void addBorders(std::vector<std::uint64_t>&) const override {} // without times
    bool findSymbol(std::uint64_t rva, symbol_t& symbol) const override;
    bool findCode(std::uint64_t, symbol_t&, code_stretch_t& stretch) const override
    {
        stretch = {0, std::numeric_limits<std::uint64_t>::max()}; // it has no bytes
        return false;
    }
    bool findLine(std::uint64_t rva, source_line_t& line) const override;
    void ignoreTimes() override {} // there are none

private:
    const map_piece_t* firstEndingFrom(std::uint64_t address) const;

    std::vector<std::byte> m_bytes;
    map_t m_map;
};

/// Reads a perf map and fills what `source` says about it but the path. Null when it is unusable:
/// none of its lines makes sense, and there are some.
std::unique_ptr<CodeFile> makeMapCode(std::vector<std::byte> bytes, source_t& source);

} // namespace jitlens_3_13
