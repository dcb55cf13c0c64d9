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

} // namespace

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
