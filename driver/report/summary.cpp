#include "report/summary.h"

#include "report/sql_rows.h"
#include "report/text_table.h"

#include <iomanip>
#include <string>
#include <utility>

namespace samplefold::report {
namespace {

constexpr const char* g_infoSql = "SELECT key, value FROM load_info";
constexpr const char* g_qualitySql =
    "SELECT reason, sum(count) AS count, remedy, severity FROM quality GROUP BY reason, remedy, "
    "severity "
    "ORDER BY CASE severity WHEN 'data_loss' THEN 0 WHEN 'error' THEN 1 ELSE 2 END, count DESC";

/// Seconds with nanoseconds of a tick count in text; the text itself when it is no number.
std::string secondsText(const std::string& ticks)
{
    if (ticks.empty() || ticks.find_first_not_of("0123456789") != std::string::npos) return ticks;
    const std::string padded = std::string(ticks.size() < 10 ? 10 - ticks.size() : 0, '0') + ticks;
    return padded.substr(0, padded.size() - 9) + "." + padded.substr(padded.size() - 9) + " s";
}

void writeLine(std::ostream& out, const char* title, const std::string& text)
{
    if (!text.empty()) out << std::left << std::setw(12) << title << printable(text) << '\n';
}

std::uint64_t rowsInRange(rowvault1::IResult& result, const TickRange& range)
{
    const std::string sql = "SELECT count(*) FROM sample_instance" + whereInRange(range);
    return readRows(result, sql).rows.at(0).at(0).integer_bits();
}

/// Ticks of a recording without times are told as they are.
std::string rangeText(rowvault1::IResult& result, const TickRange& range)
{
    const bool areTimes = result.info("ticks") == "recorded";
    const auto tickText = [&](const std::optional<std::uint64_t>& tick, const char* open) {
        if (!tick) return std::string(open);
        const std::string number = std::to_string(*tick);
        return areTimes ? secondsText(number) : "tick " + number;
    };
    return tickText(range.from, "the first tick") + " to " + tickText(range.to, "the last tick") +
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

} // namespace

void writeSummary(rowvault1::IResult& result, std::ostream& out, const TickRange& range)
{
    const auto info = [&result](const char* key) { return result.info(key); };
    writeLine(out, "result", result.databasePath());
    writeLine(out, "state", info("state"));
    writeLine(out, "input", info("input"));
    for (int load = 2;; ++load) {
        const std::string input = result.info("input of load " + std::to_string(load));
        if (input.empty()) break;
        writeLine(out, "and", input);
    }
    writeLine(out, "checksum", info("input_checksum"));
    writeLine(out, "damage", info("input_fault"));
    writeLine(out, "command", info("command_line"));
    writeLine(out, "host", info("hostname"));
    writeLine(out, "machine",
              info("architecture") + (info("cpu").empty() ? "" : ", " + info("cpu")));
    if (info("ticks") == "numbered") {
        writeLine(out, "time", "the recording has no times: ticks number the samples");
    } else if (!info("first_time").empty()) {
        writeLine(out, "time",
                  secondsText(info("first_time")) + " to " + secondsText(info("last_time")));
    }
    if (!info("samples_in_input").empty()) {
        writeLine(out, "samples",
                  info("samples_in_input") + " in the input, " + info("sample_rows") + " rows, " +
                      info("samples_dropped") + " dropped");
    }
    if (range.isSet()) writeLine(out, "range", rangeText(result, range));
    writeQuality(result, out);
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
    if (range.isSet()) report["range"] = rangeToJson(result, range);
    return report;
}

} // namespace samplefold::report
