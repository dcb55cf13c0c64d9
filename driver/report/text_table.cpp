#include "report/text_table.h"

#include <algorithm>
#include <iomanip>
#include <utility>

namespace samplefold::report {
namespace {

/// Characters that a terminal shows for a text in UTF-8.
std::size_t shownWidth(std::string_view text)
{
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

/// Control characters of ASCII, and those from U+0080 to U+009F, both of their bytes in UTF-8: some
/// terminals obey them.
bool isControl(std::string_view text, std::size_t at)
{
    constexpr unsigned char lead = 0xC2;
    const auto byteAt = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
    };
    const auto isLater = [&](std::size_t i) { return byteAt(i) >= 0x80 && byteAt(i) < 0xA0; };
    const int byte = byteAt(at);
    if (byte < 0x20 || byte == 0x7f) return true;
    if (byte == lead) return isLater(at + 1);
    return at > 0 && byteAt(at - 1) == lead && isLater(at);
}

} // namespace

std::string printable(std::string_view text)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (!isControl(text, i)) {
            out += text[i];
            continue;
        }
        out += "\\x";
        out += digits[byte >> 4];
        out += digits[byte & 15];
    }
    return out;
}

void writeFact(std::ostream& out, std::string_view title, const std::string& text,
               std::string_view indent, int width)
{
    if (!text.empty())
        out << indent << std::left << std::setw(width) << title << printable(text) << '\n';
}

void TextTable::addColumn(std::string title, Align align)
{
    const std::size_t width = shownWidth(title);
    m_columns.push_back({std::move(title), align, width});
}

void TextTable::addRow(std::vector<std::string> cells)
{
    for (std::size_t i = 0; i < cells.size() && i < m_columns.size(); ++i) {
        cells[i] = printable(cells[i]);
        m_columns[i].width = std::max(m_columns[i].width, shownWidth(cells[i]));
    }
    m_rows.push_back(std::move(cells));
}

void TextTable::print(std::ostream& out, std::string_view indent) const
{
    std::vector<std::string> titles;
    for (const Column& column : m_columns)
        titles.push_back(column.title);
    printRow(out, indent, titles);
    for (const auto& row : m_rows)
        printRow(out, indent, row);
}

void TextTable::printRow(std::ostream& out, std::string_view indent,
                         const std::vector<std::string>& cells) const
{
    std::string line(indent);
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        const std::string cell = i < cells.size() ? cells[i] : std::string();
        const std::string fill(m_columns[i].width - std::min(m_columns[i].width, shownWidth(cell)),
                               ' ');
        if (i != 0) line += "  ";
        line += m_columns[i].align == Align::right ? fill + cell : cell + fill;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
}

} // namespace samplefold::report
