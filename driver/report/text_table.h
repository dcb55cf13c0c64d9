#pragma once

#include <PORTA_2_18/printable.h>

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace samplefold::report {

using PORTA_2_18::generic::printable;

/// A line "title text", with the text behind `width` letters and made printable; nothing for an
/// empty text.
void writeFact(std::ostream& out, std::string_view title, const std::string& text,
               std::string_view indent = "", int width = 12);

/// A table of texts with aligned columns for a terminal or a file. One thread at a time.
class TextTable {
public:
    enum class Align { left, right };

    /// Adds a column; all columns come before the first row.
    void addColumn(std::string title, Align align);
    /// Adds a row with a text per column; texts are made printable.
    void addRow(std::vector<std::string> cells);

    bool empty() const { return m_rows.empty(); }
    /// Writes the titles and all rows, each line behind `indent`, with no blanks at the ends of
    /// lines.
    void print(std::ostream& out, std::string_view indent = "") const;

private:
    struct Column {
        std::string title;
        Align align;
        std::size_t width;
    };

    void printRow(std::ostream& out, std::string_view indent,
                  const std::vector<std::string>& cells) const;

    std::vector<Column> m_columns;
    std::vector<std::vector<std::string>> m_rows;
};

} // namespace samplefold::report
