#pragma once

#include "code_file.h"
#include "dump_reader.h"
#include "region_index.h"

#include <memory>
#include <vector>

namespace jitlens_3_13 {

/// The code of a jitdump. A relative address is a place in the file.
class DumpCode : public CodeFile {
public:
    DumpCode(std::vector<std::byte> bytes, std::vector<dump_function_t> functions,
             std::vector<dump_line_t> lines, std::vector<version_t> versions);

    bool resolve(std::uint64_t time, std::uint64_t address, std::uint64_t& rva) const override;
    bool findRegion(std::uint64_t time, std::uint64_t first, std::uint64_t last,
                    region_t& region) const override;
    void addBorders(std::vector<std::uint64_t>& borders) const override;
    bool findSymbol(std::uint64_t rva, symbol_t& symbol) const override;
    bool findCode(std::uint64_t rva, symbol_t& symbol, code_stretch_t& stretch) const override;
    bool findLine(std::uint64_t rva, source_line_t& line) const override;
    void ignoreTimes() override;

    const RegionIndex& index() const noexcept { return m_index; }

private:
    /// The first function that starts behind `rva`.
    std::vector<dump_function_t>::const_iterator functionBehind(std::uint64_t rva) const;
    const dump_function_t* functionAt(std::uint64_t rva) const;

    std::vector<std::byte> m_bytes;
    std::vector<dump_function_t> m_functions; ///< in the order of the file, so by rva
    std::vector<dump_line_t> m_lines;
    RegionIndex m_index;
};

/// Reads a jitdump and fills what `source` says about it but the path. Null when it is unusable.
std::unique_ptr<CodeFile> makeDumpCode(std::vector<std::byte> bytes, source_t& source);

} // namespace jitlens_3_13
