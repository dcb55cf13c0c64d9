#include "report/explain_report.h"

#include "report/branch_counts.h"
#include "report/explanation.h"
#include "report/hex_text.h"
#include "report/text_table.h"
#include "report/time_range.h"

#include <algorithm>
#include <string>

namespace samplefold::report {
namespace {

using nlohmann::ordered_json;
using Align = TextTable::Align;

std::string named(const std::string& name, const char* idTitle,
                  const std::optional<std::int64_t>& id)
{
    if (!id) return name.empty() ? "not known" : name;
    const std::string number = std::string(idTitle) + " " + std::to_string(*id);
    return name.empty() ? number : name + " (" + number + ")";
}

std::string ipText(const Explanation& sample)
{
    if (!sample.ip) return {};
    const CodeSpot& spot = sample.ip->spot;
    std::string text = hexText(sample.ip->address);
    if (!spot.module.empty()) text += ", " + placeText(spot);
    if (!spot.function.empty()) text += ", in " + spot.function;
    if (!sample.file.empty()) {
        text += ", " + sample.file;
        if (sample.line) text += ":" + std::to_string(*sample.line);
    }
    return text;
}

/// "call stack, 30 records: 4 kept, 26 cut".
std::string recordsText(const ExplainedStack& stack)
{
    const auto& records = stack.records;
    std::string text = stack.kind + ", " + std::to_string(records.size()) +
                       (records.size() == 1 ? " record" : " records");
    const char* separator = ": ";
    const auto tell = [&](std::optional<bool> kept, const char* what) {
        const auto count = std::ranges::count(records, kept, &ExplainedRecord::kept);
        if (count == 0) return;
        text += separator + std::to_string(count) + what;
        separator = ", ";
    };
    tell(true, " kept");
    tell(false, " cut");
    tell(std::nullopt, " not checked");
    return text;
}

std::string chainText(const std::string& source)
{
    if (source == "software") return "from the software chain";
    if (source == "records") return "from the branch records";
    if (source == "merged") return "the software chain and the branch records, merged";
    return "the sampled address alone";
}

void writeFacts(rowvault1::IResult& result, const Explanation& sample, std::ostream& out)
{
    writeFact(out, "sample", std::to_string(sample.number));
    writeFact(out, "time", tickText(result, sample.tick));
    writeFact(out, "event", sample.event + ", count " + std::to_string(sample.count));
    writeFact(out, "process", named(sample.process, "pid", sample.pid));
    writeFact(out, "thread", named(sample.thread, "tid", sample.tid));
    if (sample.cpu) writeFact(out, "cpu", std::to_string(*sample.cpu));
    writeFact(out, "mode", sample.mode);
    writeFact(out, "ip", ipText(sample));
    if (!sample.stack) {
        writeFact(out, "records", "the sample has no branch records");
        return;
    }
    writeFact(out, "records", recordsText(*sample.stack));
    writeFact(out, "chain", chainText(sample.stack->chain));
    const bool isMergeTold = !sample.stack->merge.empty();
    writeFact(out, "merge", isMergeTold ? sample.stack->merge : "not tried");
}

/// Columns of what no record tells are left out.
void writeRecords(const std::vector<ExplainedRecord>& records, std::ostream& out)
{
    if (records.empty()) return;
    const auto anyHas = [&](auto member) {
        return std::ranges::any_of(records,
                                   [&](const auto& each) { return (each.*member).has_value(); });
    };
    const bool hasCycles = anyHas(&ExplainedRecord::cycles);
    const bool hasPrediction = anyHas(&ExplainedRecord::mispredicted);
    TextTable table;
    table.addColumn("record", Align::right);
    for (const char* const title : {"from", "in", "to", "in"})
        table.addColumn(title, Align::left);
    if (hasCycles) table.addColumn("cycles", Align::right);
    if (hasPrediction) table.addColumn("predicted", Align::left);
    table.addColumn("verdict", Align::left);
    for (const ExplainedRecord& record : records) {
        std::vector<std::string> row{std::to_string(record.position)};
        for (const ExplainedAddress* const end : {&record.from, &record.to}) {
            row.push_back(placeText(end->spot));
            row.push_back(end->spot.function);
        }
        if (hasCycles) row.push_back(record.cycles ? std::to_string(*record.cycles) : "");
        if (hasPrediction)
            row.emplace_back(!record.mispredicted ? "" : *record.mispredicted ? "no" : "yes");
        row.push_back(record.verdict);
        table.addRow(std::move(row));
    }
    out << "\nBranch records, the newest first\n";
    table.print(out, "  ");
}

void writeChains(const Explanation& sample, std::ostream& out)
{
    static const std::vector<ChainFrame> none;
    const std::vector<ChainFrame>& software = sample.stack ? sample.stack->software : none;
    out << "\nCall chain, from the sampled frame on\n";
    if (sample.chain.empty() && software.empty()) {
        out << "  the sample has none\n";
        return;
    }
    TextTable table;
    table.addColumn(sample.stack ? "as stored" : "frame", Align::left);
    if (sample.stack) table.addColumn("of software", Align::left);
    for (const FramePair& pair : sideBySide(sample.chain, software)) {
        table.addRow({pair.left ? frameText(sample.chain[*pair.left]) : "",
                      pair.right ? frameText(software[*pair.right]) : ""});
    }
    table.print(out, "  ");
    if (sample.stack && software.empty()) out << "  software collected none\n";
}

template <class T>
ordered_json orNull(const std::optional<T>& value)
{
    return value ? ordered_json(*value) : ordered_json();
}

ordered_json placeToJson(const std::string& module, std::uint64_t rva, const std::string& function)
{
    return {{"module", textOrNull(module)},
            {"rva", module.empty() ? ordered_json() : ordered_json(hexText(rva))},
            {"function", textOrNull(function)}};
}

ordered_json toJson(const ExplainedAddress& where)
{
    ordered_json json;
    json["address"] = hexText(where.address);
    json.update(placeToJson(where.spot.module, where.spot.rva, where.spot.function));
    return json;
}

ordered_json toJson(const std::vector<ChainFrame>& chain)
{
    ordered_json list = ordered_json::array();
    for (const ChainFrame& frame : chain) {
        ordered_json item;
        item["label"] = frameText(frame);
        item.update(placeToJson(frame.module, frame.rva, frame.function));
        item["goes_on"] = frame.goesOn;
        list.push_back(std::move(item));
    }
    return list;
}

ordered_json toJson(const ExplainedRecord& record)
{
    ordered_json json;
    json["position"] = record.position;
    json["from"] = toJson(record.from);
    json["to"] = toJson(record.to);
    json["cycles"] = orNull(record.cycles);
    json["mispredicted"] = orNull(record.mispredicted);
    json["verdict"] = textOrNull(record.verdict);
    json["kept"] = orNull(record.kept);
    return json;
}

ordered_json toJson(const ExplainedStack& stack)
{
    ordered_json json;
    json["kind"] = textOrNull(stack.kind);
    json["chain"] = textOrNull(stack.chain);
    json["merge"] = textOrNull(stack.merge);
    auto& records = json["records"] = ordered_json::array();
    for (const ExplainedRecord& record : stack.records)
        records.push_back(toJson(record));
    json["software"] = toJson(stack.software);
    return json;
}

} // namespace

void writeExplanation(rowvault1::IResult& result, std::int64_t number, std::ostream& out)
{
    const Explanation sample = explainSample(result, number);
    writeFacts(result, sample, out);
    if (sample.stack) writeRecords(sample.stack->records, out);
    writeChains(sample, out);
}

ordered_json explanationToJson(rowvault1::IResult& result, std::int64_t number)
{
    const Explanation sample = explainSample(result, number);
    ordered_json report;
    auto& json = report["sample"];
    json["number"] = sample.number;
    json["tick"] = sample.tick;
    json["event"] = textOrNull(sample.event);
    json["count"] = sample.count;
    json["pid"] = orNull(sample.pid);
    json["tid"] = orNull(sample.tid);
    json["process"] = textOrNull(sample.process);
    json["thread"] = textOrNull(sample.thread);
    json["cpu"] = orNull(sample.cpu);
    json["mode"] = textOrNull(sample.mode);
    json["ip"] = sample.ip ? toJson(*sample.ip) : ordered_json();
    json["file"] = textOrNull(sample.file);
    json["line"] = orNull(sample.line);
    json["chain"] = toJson(sample.chain);
    json["branch_stack"] = sample.stack ? toJson(*sample.stack) : ordered_json();
    return report;
}

void writeBranchOverview(rowvault1::IResult& result, std::ostream& out)
{
    SqlRows counts = readBranchCounts(result);
    if (counts.rows.empty()) {
        out << "No sample has branch records.\n";
    } else {
        addExampleSamples(result, counts);
        out << "Branch records\n";
        writeBranchCounts(counts, out);
    }
    if (!rowsAreSamples(result)) {
        out << "\nThe rows of the result are sums: --store-each-sample on keeps single samples.\n";
        return;
    }
    out << "\n--sample N shows one sample. N is the column interval of the view samples"
        << (counts.rows.empty() ? ".\n" : "; the column sample names one of each kind.\n");
}

ordered_json branchOverviewToJson(rowvault1::IResult& result)
{
    SqlRows counts = readBranchCounts(result);
    if (!counts.rows.empty()) addExampleSamples(result, counts);
    ordered_json json;
    json["branch_records"] = branchCountsToJson(counts);
    return json;
}

} // namespace samplefold::report
