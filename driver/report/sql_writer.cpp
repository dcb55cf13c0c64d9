#include "report/sql_writer.h"

#include "report/sql_rows.h"
#include "report/text_table.h"

#include <optional>
#include <vector>

namespace samplefold::report {
namespace {

using tb2::variant_t;

TextTable::Align alignOf(const variant_t& value)
{
    return value.is_integer() || value.kind() == variant_t::kind_t::real ? TextTable::Align::right
                                                                         : TextTable::Align::left;
}

/// Prints in blocks, each a table of its own with the same columns: memory stays flat, and an
/// answer that fits one block is aligned as a whole.
class TableWriter final : public rowvault1::ISqlReader {
public:
    explicit TableWriter(std::ostream& out) : m_out(out) {}

    void onColumns(std::span<const std::string> names) override
    {
        m_names.assign(names.begin(), names.end());
    }
    bool onRow(std::span<const variant_t> row) override
    {
        m_rows.emplace_back(row.begin(), row.end());
        if (m_rows.size() == g_blockRows) printBlock();
        return static_cast<bool>(m_out);
    }
    void end()
    {
        if (!m_rows.empty() || !m_printed) printBlock();
    }

private:
    static constexpr std::size_t g_blockRows = 1000;

    void printBlock()
    {
        TextTable table;
        for (std::size_t i = 0; i < m_names.size(); ++i) {
            table.addColumn(m_names[i],
                            m_rows.empty() ? TextTable::Align::left : alignOf(m_rows[0][i]));
        }
        for (const auto& row : m_rows) {
            std::vector<std::string> cells;
            cells.reserve(row.size());
            for (const variant_t& value : row)
                cells.push_back(toText(value));
            table.addRow(std::move(cells));
        }
        table.print(m_out);
        m_rows.clear();
        m_printed = true;
    }

    std::ostream& m_out;
    std::vector<std::string> m_names;
    std::vector<std::vector<variant_t>> m_rows;
    bool m_printed = false;
};

std::string csvField(const std::string& text)
{
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"') out += c;
        out += c;
    }
    return out + "\"";
}

class CsvWriter final : public rowvault1::ISqlReader {
public:
    explicit CsvWriter(std::ostream& out) : m_out(out) {}

    void onColumns(std::span<const std::string> names) override
    {
        for (std::size_t i = 0; i < names.size(); ++i)
            m_out << (i ? "," : "") << csvField(names[i]);
        m_out << '\n';
    }
    bool onRow(std::span<const variant_t> row) override
    {
        for (std::size_t i = 0; i < row.size(); ++i)
            m_out << (i ? "," : "") << csvField(toText(row[i]));
        m_out << '\n';
        return static_cast<bool>(m_out);
    }

private:
    std::ostream& m_out;
};

class JsonWriter final : public rowvault1::ISqlReader {
public:
    explicit JsonWriter(std::ostream& out) : m_out(out) {}

    void onColumns(std::span<const std::string> names) override
    {
        m_names.assign(names.begin(), names.end());
    }
    bool onRow(std::span<const variant_t> row) override
    {
        m_out << (m_first ? "[\n" : ",\n") << jsonText(rowToJson(m_names, row), -1);
        m_first = false;
        return static_cast<bool>(m_out);
    }
    void end() { m_out << (m_first ? "[]\n" : "\n]\n"); }

private:
    std::ostream& m_out;
    std::vector<std::string> m_names;
    bool m_first = true;
};

} // namespace

void writeSql(rowvault1::IResult& result, std::string_view sql, SqlFormat format, std::ostream& out)
{
    switch (format) {
    case SqlFormat::csv: {
        CsvWriter writer(out);
        rowvault1::readSql(result, sql, writer);
        return;
    }
    case SqlFormat::json: {
        JsonWriter writer(out);
        rowvault1::readSql(result, sql, writer);
        writer.end();
        return;
    }
    case SqlFormat::table:
        break;
    }
    TableWriter writer(out);
    rowvault1::readSql(result, sql, writer);
    writer.end();
}

} // namespace samplefold::report
