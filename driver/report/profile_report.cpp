#include "report/profile_report.h"

#include "report/grouping_sql.h"
#include "report/sql_rows.h"
#include "report/summary.h"
#include "report/sums.h"
#include "report/text_table.h"

#include <algorithm>
#include <span>

namespace samplefold::report {
namespace {

/// Names of the shown columns: the aliases in "x AS a, y AS b".
std::string aliases(const std::string& columns)
{
    std::string out;
    std::size_t at = 0;
    while ((at = columns.find(" AS ", at)) != std::string::npos) {
        at += 4;
        const std::size_t end = std::min(columns.find(',', at), columns.size());
        out += ", " + columns.substr(at, end - at);
    }
    return out;
}

/// First the instances are added up by the few keys that matter, then names are put to the sums.
std::string entriesSql(const GroupingSql& grouping, const ReportOptions& options, bool withSamples)
{
    const std::string columns = grouping.columns;
    const std::string names = aliases(columns);
    const std::string shown = columns.empty() ? "" : ", " + columns;
    std::string sql =
        "WITH grouped AS (SELECT event_type, " + std::string(grouping.keys) +
        ", count(*) AS samples, " + sumOf("count") + " AS total FROM sample_instance" +
        whereInRange(options.range) + " GROUP BY event_type, " + std::string(grouping.keys) +
        "), named AS (SELECT g.event_type AS event_key, e.name AS event" + shown +
        ", g.samples AS samples, g.total AS total FROM grouped g "
        "LEFT JOIN dd_event_type e ON e.rowid = g.event_type " +
        grouping.joins + "), summed AS (SELECT event_key, event" + names +
        ", sum(samples) AS samples, " + sumOf("total") + " AS count FROM named GROUP BY event_key" +
        names +
        "), ranked AS (SELECT *, 100.0 * count / total(count) OVER (PARTITION BY event_key) AS "
        "percent, "
        "row_number() OVER (PARTITION BY event_key ORDER BY count DESC, samples DESC" +
        names + ") AS place FROM summed) SELECT event_key, event" + names +
        (withSamples ? ", samples" : "") + ", count, percent FROM ranked";
    if (options.limit != 0 && !columns.empty())
        sql += " WHERE place <= " + std::to_string(options.limit);
    return sql + " ORDER BY event_key, place";
}

SqlRows readEntries(rowvault1::IResult& result, const ReportOptions& options)
{
    if (options.range.isSet()) checkRowsHaveTicks(result);
    return readRows(result, entriesSql(groupingSql(options.by), options, rowsAreSamples(result)));
}

std::optional<double> percentIn(const tb2::variant_t& value)
{
    return value.is_null() ? std::nullopt : std::optional(value.as_double());
}

/// One table per event: its key is the first column, for events can share a name, its name the
/// second, the percentage the last.
void writeEntries(const SqlRows& entries, const ReportOptions& options, std::ostream& out)
{
    const bool single = options.by == Grouping::event;
    const std::size_t firstColumn = single ? 1 : 2;
    const std::size_t percent = entries.names.size() - 1;
    for (std::size_t row = 0; row < entries.rows.size();) {
        const tb2::variant_t key = entries.rows[row][0];
        const std::string event = toText(entries.rows[row][1]);
        TextTable table;
        for (std::size_t i = firstColumn; i < entries.names.size(); ++i) {
            const tb2::variant_t& sample = entries.rows[row][i];
            const bool isNumber = sample.is_integer() || i == percent;
            table.addColumn(entries.names[i],
                            isNumber ? TextTable::Align::right : TextTable::Align::left);
        }
        for (; row < entries.rows.size() && (single || entries.rows[row][0] == key); ++row) {
            std::vector<std::string> cells;
            for (std::size_t i = firstColumn; i < percent; ++i)
                cells.push_back(toText(entries.rows[row][i]));
            cells.push_back(percentText(percentIn(entries.rows[row][percent])));
            table.addRow(std::move(cells));
        }
        out << '\n'
            << (single ? "Events"
                       : "Event " + printable(event) + " by " +
                             std::string(groupingSql(options.by).name))
            << '\n';
        table.print(out, "  ");
    }
}

} // namespace

const std::vector<std::pair<std::string, Grouping>>& groupings()
{
    static const std::vector<std::pair<std::string, Grouping>> all = [] {
        std::vector<std::pair<std::string, Grouping>> names;
        for (const GroupingSql& grouping : groupingSqls())
            names.emplace_back(grouping.name, grouping.by);
        return names;
    }();
    return all;
}

void writeReport(rowvault1::IResult& result, const ReportOptions& options, std::ostream& out)
{
    const SqlRows entries = readEntries(result, options);
    writeSummary(result, out, options.range);
    writeEntries(entries, options, out);
}

nlohmann::ordered_json reportToJson(rowvault1::IResult& result, const ReportOptions& options)
{
    nlohmann::ordered_json report = summaryToJson(result, options.range);
    report["by"] = std::string(groupingSql(options.by).name);
    auto& list = report["entries"] = nlohmann::ordered_json::array();
    const SqlRows entries = readEntries(result, options);
    const auto withoutKey = [](const auto& row) { return std::span(row).subspan(1); };
    for (const auto& row : entries.rows) {
        list.push_back(rowToJson(withoutKey(entries.names), withoutKey(row)));
    }
    return report;
}

} // namespace samplefold::report
