#pragma once

#include <jitlens_3_13/jit_loader.h>
#include <jitlens_3_13/symbol_resolver.h>

#include <cstdint>
#include <vector>

namespace jitlens_3_13 {

/// The code that one file describes. Immutable after ignoreTimes; any thread.
class CodeFile {
public:
    virtual ~CodeFile() = default;

    /// The relative address of `address` at `time`; false when no code is there.
    virtual bool resolve(std::uint64_t time, std::uint64_t address, std::uint64_t& rva) const = 0;
    /// As IJitLoader::findRegion, without the module; false when there is none.
    virtual bool findRegion(std::uint64_t time, std::uint64_t first, std::uint64_t last,
                            region_t& region) const = 0;
    /// Adds the first address of every region that has a time, and the one behind its last.
    virtual void addBorders(std::vector<std::uint64_t>& borders) const = 0;
    virtual bool findSymbol(std::uint64_t rva, symbol_t& symbol) const = 0;
    /// The function with bytes that holds the address. `stretch` becomes its addresses or, when
    /// there is none, those up to the functions around it.
    virtual bool findCode(std::uint64_t rva, symbol_t& symbol, code_stretch_t& stretch) const = 0;
    virtual bool findLine(std::uint64_t rva, source_line_t& line) const = 0;
    /// As IJitLoader::ignoreTimes. One thread, before any question.
    virtual void ignoreTimes() = 0;
};

} // namespace jitlens_3_13
