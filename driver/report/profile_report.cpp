#include "report/profile_report.h"

#include "report/sql_rows.h"
#include "report/summary.h"
#include "report/sums.h"
#include "report/text_table.h"

#include <algorithm>
#include <span>

namespace samplefold::report {
namespace {

/// How a grouping is told in SQL: the columns that say which group a row of `grouped` belongs to.
struct GroupingSql {
    Grouping by;
    const char* name;
    const char* keys;    ///< columns of sample_instance that tell the group apart
    const char* columns; ///< what is shown of a group
    const char* joins;
};

constexpr const char* g_codeJoins = R"(
  LEFT JOIN dd_sample s ON s.rowid = g.sample
  LEFT JOIN dd_callsite c ON c.rowid = s.callsite
  LEFT JOIN dd_code_location l ON l.rowid = c.code_loc
  LEFT JOIN dd_module_segment ms ON ms.rowid = l.mod_seg
  LEFT JOIN dd_module_file m ON m.rowid = ms.module)";
/// A function's own module, where it has one, else the one of the place.
constexpr const char* g_functionJoins = R"(
  LEFT JOIN dd_sample s ON s.rowid = g.sample
  LEFT JOIN dd_callsite c ON c.rowid = s.callsite
  LEFT JOIN dd_code_location l ON l.rowid = c.code_loc
  LEFT JOIN dd_function fn ON fn.name IS NOT NULL AND fn.rowid =
    (SELECT n.function FROM dd_code_name n WHERE n.mod_seg = l.mod_seg AND n.rva = l.rva LIMIT 1)
  LEFT JOIN dd_module_segment ms ON ms.rowid = l.mod_seg
  LEFT JOIN dd_module_file pm ON pm.rowid = ms.module
  LEFT JOIN dd_module_file fm ON fm.rowid = fn.module
  LEFT JOIN dd_module_file m ON m.rowid = coalesce(fm.rowid, pm.rowid))";
/// The labels that the call trees have (CodeLabels).
constexpr const char* g_functionColumns =
    "CASE WHEN fn.name IS NOT NULL THEN fn.name "
    "WHEN l.rva IS NULL THEN '[unknown]' "
    "WHEN m.rowid IS NOT NULL THEN coalesce(m.name, m.path, '') || printf('+0x%llx', l.rva) "
    "WHEN l.mod_seg > 0 OR l.rva NOT IN (1, 2, 3) THEN printf('0x%llx', l.rva) "
    "WHEN l.rva = 1 THEN '[chain cut off]' "
    "ELSE printf('0x%llx', -l.rva) END AS function, "
    "coalesce(m.path, m.name, '[unknown]') AS module";
constexpr const char* g_taskJoins = R"(
  LEFT JOIN dd_thread t ON t.rowid = g.thread
  LEFT JOIN dd_process p ON p.rowid = t.process)";

constexpr GroupingSql g_groupings[] = {
    {Grouping::module, "module", "sample", "coalesce(m.path, '[unknown]') AS module", g_codeJoins},
    {Grouping::address, "address", "sample",
     "coalesce(m.path, '[unknown]') AS module, printf('0x%x', l.rva) AS address", g_codeJoins},
    {Grouping::function, "function", "sample", g_functionColumns, g_functionJoins},
    {Grouping::process, "process", "thread", "p.pid AS pid, p.name AS process", g_taskJoins},
    {Grouping::thread, "thread", "thread", "p.pid AS pid, t.tid AS tid, t.name AS thread",
     g_taskJoins},
    {Grouping::cpu, "cpu", "cpu", "cpu.number AS cpu", "LEFT JOIN dd_cpu cpu ON cpu.rowid = g.cpu"},
    {Grouping::event, "event", "event_type", "", ""},
};

const GroupingSql& sqlOf(Grouping by)
{
    return *std::find_if(std::begin(g_groupings), std::end(g_groupings),
                         [by](const GroupingSql& grouping) { return grouping.by == by; });
}

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
std::string entriesSql(const GroupingSql& grouping, const ReportOptions& options,
                       bool rowsAreSamples)
{
    const std::string columns = grouping.columns;
    const std::string names = aliases(columns);
    const std::string shown = columns.empty() ? "" : ", " + columns;
    std::string sql =
        "WITH grouped AS (SELECT event_type, " + std::string(grouping.keys) +
        ", count(*) AS samples, " + sumOf("count") + " AS total FROM sample_instance" +
        whereInRange(options.range) + " GROUP BY event_type, " + grouping.keys +
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
        (rowsAreSamples ? ", samples" : "") + ", count, percent FROM ranked";
    if (options.limit != 0 && !columns.empty())
        sql += " WHERE place <= " + std::to_string(options.limit);
    return sql + " ORDER BY event_key, place";
}

SqlRows readEntries(rowvault1::IResult& result, const ReportOptions& options)
{
    if (options.range.isSet()) checkRowsHaveTicks(result);
    const bool rowsAreSamples = result.info("store_each_sample") != "off";
    return readRows(result, entriesSql(sqlOf(options.by), options, rowsAreSamples));
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
            << (single ? "Events" : "Event " + printable(event) + " by " + sqlOf(options.by).name)
            << '\n';
        table.print(out, "  ");
    }
}

} // namespace

const std::vector<std::pair<std::string, Grouping>>& groupings()
{
    static const std::vector<std::pair<std::string, Grouping>> all = [] {
        std::vector<std::pair<std::string, Grouping>> names;
        for (const GroupingSql& grouping : g_groupings)
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
    report["by"] = sqlOf(options.by).name;
    auto& list = report["entries"] = nlohmann::ordered_json::array();
    const SqlRows entries = readEntries(result, options);
    const auto withoutKey = [](const auto& row) { return std::span(row).subspan(1); };
    for (const auto& row : entries.rows) {
        list.push_back(rowToJson(withoutKey(entries.names), withoutKey(row)));
    }
    return report;
}

} // namespace samplefold::report
