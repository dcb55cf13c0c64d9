#include "report/explanation.h"

#include "report/report_error.h"
#include "report/sql_rows.h"

#include <charconv>

namespace samplefold::report {
namespace {

using tb2::variant_t;

std::optional<std::int64_t> numberOf(const variant_t& value)
{
    if (!value.is_integer()) return std::nullopt;
    return static_cast<std::int64_t>(value.integer_bits());
}

/// The number behind "0x", as views write addresses.
std::optional<std::uint64_t> addressOf(const variant_t& value)
{
    const std::string text = toText(value);
    if (!text.starts_with("0x")) return std::nullopt;
    std::uint64_t address = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + 2, end, address, 16);
    return error == std::errc() && stop == end ? std::optional(address) : std::nullopt;
}

/// The row of a sample, by which all further questions find it at once.
struct SampleKey {
    std::int64_t number;
    variant_t tick;
    std::int64_t process;

    std::string condition(const char* tickColumn) const
    {
        return " WHERE interval = " + std::to_string(number) + " AND " + tickColumn + " = " +
               std::to_string(static_cast<std::int64_t>(tick.integer_bits()));
    }
};

[[noreturn]] void refuse(rowvault1::IResult& result, std::int64_t number)
{
    const SqlRows range = readRows(result, "SELECT min(id), max(id) FROM sample_instance");
    const std::string where = result.databasePath() + ": ";
    if (!range.rows.at(0)[0].is_integer()) throw ReportError(where + "it has no samples");
    throw ReportError(where + "it has no sample " + std::to_string(number) + ": its numbers are " +
                      toText(range.rows[0][0]) + " to " + toText(range.rows[0][1]));
}

/// Rows stand in the order of their ticks, so that this walks them.
SampleKey findSample(rowvault1::IResult& result, std::int64_t number)
{
    const SqlRows found =
        readRows(result, "SELECT i.end_tsc, t.process FROM sample_instance i "
                         "LEFT JOIN dd_thread t ON t.id = i.thread WHERE i.id = " +
                             std::to_string(number) + " LIMIT 1");
    if (found.rows.empty()) refuse(result, number);
    return {number, found.rows[0][0], rowKey(found.rows[0][1])};
}

void readRecords(rowvault1::IResult& result, const SampleKey& key, CodeSpots& spots,
                 std::vector<ExplainedRecord>& records)
{
    const auto explained = [&spots](const variant_t& value) {
        const std::uint64_t address = addressOf(value).value_or(0);
        return ExplainedAddress{address, spots.at(address)};
    };
    visitRows(result,
              "SELECT b.position, b.\"from\", b.\"to\", b.cycles, b.mispredicted, b.verdict, "
              "(SELECT v.kept FROM dd_link_verdict v WHERE v.name = b.verdict) "
              "FROM sample_branches b" +
                  key.condition("tick") + " GROUP BY b.position ORDER BY b.position",
              [&](const auto& row) {
                  ExplainedRecord record;
                  record.position = numberOf(row[0]).value_or(0);
                  record.from = explained(row[1]);
                  record.to = explained(row[2]);
                  // A machine that does not count cycles tells 0 of them.
                  if (row[3].integer_bits() != 0) record.cycles = row[3].integer_bits();
                  if (row[4].is_integer()) record.mispredicted = row[4].integer_bits() != 0;
                  record.verdict = toText(row[5]);
                  if (row[6].is_integer()) record.kept = row[6].integer_bits() != 0;
                  records.push_back(std::move(record));
              });
}

ExplainedStack readStack(rowvault1::IResult& result, const SampleKey& key, std::int64_t stack,
                         CodeSpots& spots)
{
    ExplainedStack explained;
    std::int64_t software = -1;
    visitRows(result,
              "SELECT kind, chain, merge, software FROM branch_stacks WHERE branch_stack = " +
                  std::to_string(stack),
              [&](const auto& row) {
                  explained.kind = toText(row[0]);
                  explained.chain = toText(row[1]);
                  explained.merge = toText(row[2]);
                  software = rowKey(row[3]);
              });
    readRecords(result, key, spots, explained.records);
    explained.software = readChain(result, software);
    return explained;
}

} // namespace

Explanation explainSample(rowvault1::IResult& result, std::int64_t number)
{
    if (!rowsAreSamples(result)) {
        throw ReportError(result.databasePath() +
                          ": its rows are sums and no single samples: to ask for one, load again "
                          "with --store-each-sample on");
    }
    const SampleKey key = findSample(result, number);
    CodeSpots spots(result, key.process, key.tick.integer_bits());
    Explanation sample;
    sample.number = number;
    sample.tick = key.tick.integer_bits();
    std::int64_t stack = -1;
    visitRows(result,
              "SELECT event, count, pid, tid, process, thread, cpu, mode, ip, file, line, "
              "callsite, branch_stack FROM samples" +
                  key.condition("end_tsc"),
              [&](const auto& row) {
                  sample.event = toText(row[0]);
                  sample.count = numberOf(row[1]).value_or(0);
                  sample.pid = numberOf(row[2]);
                  sample.tid = numberOf(row[3]);
                  sample.process = toText(row[4]);
                  sample.thread = toText(row[5]);
                  sample.cpu = numberOf(row[6]);
                  sample.mode = toText(row[7]);
                  if (const auto ip = addressOf(row[8])) sample.ip = {*ip, spots.at(*ip)};
                  sample.file = toText(row[9]);
                  sample.line = numberOf(row[10]);
                  sample.chain = readChain(result, rowKey(row[11]));
                  stack = rowKey(row[12]);
              });
    if (stack > 0) sample.stack = readStack(result, key, stack, spots);
    return sample;
}

} // namespace samplefold::report
