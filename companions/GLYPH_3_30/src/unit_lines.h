#pragma once

#include <elfutils/libdw.h>

#include <cstdint>
#include <vector>

namespace GLYPH_3_30 {

inline constexpr std::uint32_t g_noFile = ~std::uint32_t{0};

/// A place in the source.
struct line_t {
    std::uint32_t file = g_noFile; ///< an index of UnitLines::files(), which may be too large
    std::uint32_t line = 0;        ///< 0 when unknown
    std::uint32_t column = 0;      ///< 0 when unknown

    bool operator==(const line_t&) const = default;
};

/// A source file of a table.
struct source_file_t {
    const char* path = nullptr; ///< null when unknown
    bool isAbsolute = false;    ///< it has been joined with its folder as far as that goes
};

/// A table of source lines, by address. Several units may share one. One thread at a time.
class UnitLines {
public:
    /// Reads the table of the unit with the entry `unit`. A damaged one is empty.
    void read(Dwarf_Die unit);
    bool isRead() const noexcept { return m_isRead; }

    /// The last row at or before the address; null where no code with lines is. Lives as long as
    /// the table.
    const line_t* find(std::uint64_t address) const noexcept;
    /// By the numbers that rows and entries of the unit know them by.
    std::vector<source_file_t>& files() noexcept { return m_files; }

private:
    void readFiles(Dwarf_Die& unit);
    void add(std::uint64_t start, const line_t& line);

    bool m_isRead = false;
    std::vector<std::uint64_t> m_starts; ///< by address; each reaches to the next one
    std::vector<line_t> m_lines;         ///< of each start; neighbours differ
    std::vector<source_file_t> m_files;
};

} // namespace GLYPH_3_30
