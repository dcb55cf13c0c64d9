#include "report/summary.h"

#include "report/branch_counts.h"
#include "report/sql_rows.h"
#include "report/text_table.h"

#include <string>
#include <utility>

namespace samplefold::report {
namespace {

constexpr const char* g_infoSql = "SELECT key, value FROM load_info";
constexpr const char* g_qualitySql =
    "SELECT reason, sum(count) AS count, remedy, severity FROM quality GROUP BY reason, remedy, "
    "severity "
    "ORDER BY CASE severity WHEN 'data_loss' THEN 0 WHEN 'error' THEN 1 ELSE 2 END, count DESC";

std::uint64_t rowsInRange(rowvault1::IResult& result, const TickRange& range)
{
    const std::string sql = "SELECT count(*) FROM sample_instance" + whereInRange(range);
    return readRows(result, sql).rows.at(0).at(0).integer_bits();
}

/// Ticks of a recording without times are told as they are.
std::string rangeText(rowvault1::IResult& result, const TickRange& range)
{
    const auto endText = [&](const std::optional<std::uint64_t>& tick, const char* open) {
        return tick ? tickText(result, *tick) : std::string(open);
    };
    return endText(range.from, "the first tick") + " to " + endText(range.to, "the last tick") +
           ": " + std::to_string(rowsInRange(result, range)) + " sample rows";
}

nlohmann::ordered_json rangeToJson(rowvault1::IResult& result, const TickRange& range)
{
    const auto tickOrNull = [](const std::optional<std::uint64_t>& tick) {
        return tick ? nlohmann::ordered_json(*tick) : nlohmann::ordered_json();
    };
    nlohmann::ordered_json json;
    json["from"] = tickOrNull(range.from);
    json["to"] = tickOrNull(range.to);
    json["sample_rows"] = rowsInRange(result, range);
    return json;
}

void writeQuality(rowvault1::IResult& result, std::ostream& out)
{
    const SqlRows rows = readRows(result, g_qualitySql);
    out << "\nQuality\n";
    if (rows.rows.empty()) {
        out << "  nothing was lost, dropped or guessed\n";
        return;
    }
    TextTable table;
    table.addColumn("count", TextTable::Align::right);
    table.addColumn("severity", TextTable::Align::left);
    table.addColumn("what", TextTable::Align::left);
    table.addColumn("remedy", TextTable::Align::left);
    for (const auto& row : rows.rows) {
        table.addRow({toText(row[1]), toText(row[3]), toText(row[0]), toText(row[2])});
    }
    table.print(out, "  ");
}

void writeBranchRecords(rowvault1::IResult& result, std::ostream& out)
{
    const SqlRows counts = readBranchCounts(result);
    if (counts.rows.empty()) return;
    out << "\nBranch records\n";
    writeBranchCounts(counts, out);
}

} // namespace

void writeSummary(rowvault1::IResult& result, std::ostream& out, const TickRange& range)
{
    const auto info = [&result](const char* key) { return result.info(key); };
    writeFact(out, "result", result.databasePath());
    writeFact(out, "state", info("state"));
    writeFact(out, "input", info("input"));
    for (int load = 2;; ++load) {
        const std::string input = result.info("input of load " + std::to_string(load));
        if (input.empty()) break;
        writeFact(out, "and", input);
    }
    writeFact(out, "checksum", info("input_checksum"));
    writeFact(out, "damage", info("input_fault"));
    writeFact(out, "command", info("command_line"));
    writeFact(out, "host", info("hostname"));
    writeFact(out, "machine",
              info("architecture") + (info("cpu").empty() ? "" : ", " + info("cpu")));
    if (info("ticks") == "numbered") {
        writeFact(out, "time", "the recording has no times: ticks number the samples");
    } else if (!info("first_time").empty()) {
        writeFact(out, "time",
                  secondsText(info("first_time")) + " to " + secondsText(info("last_time")));
    }
    if (!info("samples_in_input").empty()) {
        const std::string counters = info("counter_values_in_input");
        writeFact(
            out, "samples",
            info("samples_in_input") + " in the input, " + info("sample_rows") + " rows, " +
                info("samples_dropped") + " dropped" +
                (counters.empty() ? "" : ", " + counters + " in the input are counter values"));
    }
    if (range.isSet()) writeFact(out, "range", rangeText(result, range));
    writeQuality(result, out);
    writeBranchRecords(result, out);
}

nlohmann::ordered_json summaryToJson(rowvault1::IResult& result, const TickRange& range)
{
    nlohmann::ordered_json report;
    auto& summary = report["summary"] = nlohmann::ordered_json::object();
    for (const auto& row : readRows(result, g_infoSql).rows) {
        summary[toText(row[0])] = toJson(row[1]);
    }
    auto& quality = report["quality"] = nlohmann::ordered_json::array();
    const SqlRows rows = readRows(result, g_qualitySql);
    for (const auto& row : rows.rows)
        quality.push_back(rowToJson(rows.names, row));
    const SqlRows counts = readBranchCounts(result);
    if (!counts.rows.empty()) report["branch_records"] = branchCountsToJson(counts);
    if (range.isSet()) report["range"] = rangeToJson(result, range);
    return report;
}

} // namespace samplefold::report
