#include "report/branch_counts.h"

#include "report/text_table.h"

#include <cstdint>
#include <map>
#include <string>

namespace samplefold::report {
namespace {

using tb2::variant_t;

/// Several loads may each have counted the same.
constexpr const char* g_countsSql =
    "SELECT q.count, q.what, q.mean, q.most, q.example, q.module FROM branch_quality q "
    "JOIN (SELECT what, min(id) AS first FROM dd_branch_quality GROUP BY what) o "
    "ON o.what IS q.what ORDER BY o.first";
constexpr std::size_t g_what = 1;

/// Of each kind that a stack can be of, a stack. Verdicts that no record has are not looked for.
constexpr const char* g_stacksSql =
    "SELECT * FROM (SELECT 'record ' || v.name, (SELECT h.id FROM dd_lbr_head h "
    "WHERE instr(h.verdicts, v.letter) LIMIT 1) AS stack FROM dd_link_verdict v "
    "WHERE 'record ' || v.name IN (SELECT what FROM dd_branch_quality) UNION ALL "
    "SELECT 'chain: ' || chain, min(id) FROM dd_lbr_head WHERE chain IS NOT NULL GROUP BY chain "
    "UNION ALL "
    "SELECT 'merge: ' || merge, min(id) FROM dd_lbr_head WHERE merge IS NOT NULL GROUP BY merge) "
    "WHERE stack IS NOT NULL";

/// The first sample of each of the stacks in a list. The many rows are walked once, which the order
/// of the join holds the database to.
std::string samplesSql(const std::string& stacks)
{
    return "WITH wanted AS MATERIALIZED (SELECT id, lbr_head FROM dd_sample WHERE lbr_head IN (" +
           stacks +
           ")) SELECT w.lbr_head, min(i.id) FROM sample_instance i CROSS JOIN wanted w "
           "ON w.id = i.sample GROUP BY w.lbr_head";
}

std::map<std::string, std::int64_t> exampleSamples(rowvault1::IResult& result)
{
    std::map<std::string, std::int64_t> stackOf;
    std::string list;
    visitRows(result, g_stacksSql, [&](const auto& row) {
        stackOf[toText(row[0])] = rowKey(row[1]);
        list += (list.empty() ? "" : ",") + std::to_string(rowKey(row[1]));
    });
    std::map<std::int64_t, std::int64_t> sampleOf;
    visitRows(result, samplesSql(list),
              [&](const auto& row) { sampleOf[rowKey(row[0])] = rowKey(row[1]); });
    std::map<std::string, std::int64_t> examples;
    for (const auto& [what, stack] : stackOf) {
        const auto sample = sampleOf.find(stack);
        if (sample != sampleOf.end()) examples[what] = sample->second;
    }
    return examples;
}

} // namespace

SqlRows readBranchCounts(rowvault1::IResult& result)
{
    return readRows(result, g_countsSql);
}

void addExampleSamples(rowvault1::IResult& result, SqlRows& counts)
{
    std::map<std::string, std::int64_t> examples;
    if (rowsAreSamples(result)) examples = exampleSamples(result);
    counts.names.emplace_back("sample");
    for (auto& row : counts.rows) {
        const auto example = examples.find(toText(row[g_what]));
        row.push_back(example == examples.end() ? variant_t() : variant_t(example->second));
    }
}

void writeBranchCounts(const SqlRows& counts, std::ostream& out)
{
    TextTable table;
    for (const std::string& name : counts.names) {
        const bool isText = name == "what" || name == "example" || name == "module";
        table.addColumn(name, isText ? TextTable::Align::left : TextTable::Align::right);
    }
    for (const auto& row : counts.rows) {
        std::vector<std::string> cells;
        for (const variant_t& value : row)
            cells.push_back(toText(value));
        table.addRow(std::move(cells));
    }
    table.print(out, "  ");
}

nlohmann::ordered_json branchCountsToJson(const SqlRows& counts)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const auto& row : counts.rows)
        list.push_back(rowToJson(counts.names, row));
    return list;
}

} // namespace samplefold::report
