#include "unit_lines.h"

#include "last_up_to.h"

namespace GLYPH_3_30 {
namespace {

/// Where no code with lines is.
constexpr line_t g_noLine{g_noFile, ~std::uint32_t{0}, 0};

std::uint32_t numberOf(int number)
{
    return number > 0 ? static_cast<std::uint32_t>(number) : 0;
}

line_t lineOf(Dwarf_Line* row)
{
    line_t line;
    Dwarf_Files* files = nullptr;
    std::size_t file = 0;
    int number = 0;
    line.file = ::dwarf_line_file(row, &files, &file) == 0 && file < g_noFile
                    ? static_cast<std::uint32_t>(file)
                    : g_noFile;
    if (::dwarf_lineno(row, &number) == 0) line.line = numberOf(number);
    if (::dwarf_linecol(row, &number) == 0) line.column = numberOf(number);
    return line;
}

Dwarf_Addr addressOf(Dwarf_Lines* rows, std::size_t index)
{
    Dwarf_Addr address = 0;
    ::dwarf_lineaddr(::dwarf_onesrcline(rows, index), &address);
    return address;
}

} // namespace

void UnitLines::read(Dwarf_Die unit)
{
    m_isRead = true;
    readFiles(unit);
    Dwarf_Lines* rows = nullptr;
    std::size_t count = 0;
    if (::dwarf_getsrclines(&unit, &rows, &count) != 0) return;
    for (std::size_t i = 0; i < count; ++i) {
        const Dwarf_Addr address = addressOf(rows, i);
        if (i + 1 < count && addressOf(rows, i + 1) == address) continue;
        Dwarf_Line* row = ::dwarf_onesrcline(rows, i);
        add(address, lineOf(row));
        bool isEnd = false;
        // What ends a stretch of code stands for its own address alone.
        if (::dwarf_lineendsequence(row, &isEnd) == 0 && isEnd) add(address + 1, g_noLine);
    }
    m_starts.shrink_to_fit();
    m_lines.shrink_to_fit();
}

void UnitLines::readFiles(Dwarf_Die& unit)
{
    Dwarf_Files* files = nullptr;
    std::size_t count = 0;
    if (::dwarf_getsrcfiles(&unit, &files, &count) != 0) return;
    m_files.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        m_files.push_back({::dwarf_filesrc(files, i, nullptr, nullptr), false});
}

void UnitLines::add(std::uint64_t start, const line_t& line)
{
    if (!m_starts.empty() && m_starts.back() == start) {
        m_starts.pop_back();
        m_lines.pop_back();
    }
    if (!m_lines.empty() && m_lines.back() == line) return;
    m_starts.push_back(start);
    m_lines.push_back(line);
}

const line_t* UnitLines::find(std::uint64_t address) const noexcept
{
    const std::uint64_t* start =
        lastUpTo(m_starts, address, [](std::uint64_t s) noexcept { return s; });
    if (start == nullptr) return nullptr;
    const line_t& line = m_lines[static_cast<std::size_t>(start - m_starts.data())];
    return line == g_noLine ? nullptr : &line;
}

} // namespace GLYPH_3_30
