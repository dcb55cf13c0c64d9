#include "report/uncore_counts.h"

#include "report/report_error.h"
#include "report/sql_rows.h"
#include "report/time_range.h"

#include <algorithm>

namespace samplefold::report {
namespace {

using row_t = std::span<const tb2::variant_t>;
__extension__ using wide_t = unsigned __int128;

/// What a table of them could show, and what memory should hold for all events on packages.
constexpr std::uint64_t g_mostIntervals = 100'000;
constexpr std::uint64_t g_mostIntervalRows = 2'000'000;

constexpr const char* g_rows =
    "SELECT e.uncore_event, c.package, i.start_tsc, i.end_tsc, i.count FROM sample_instance AS i "
    "JOIN dd_event_type AS e ON e.id = i.event_type "
    "LEFT JOIN dd_cpu AS c ON c.id = i.cpu WHERE e.uncore_event IS NOT NULL ORDER BY i.start_tsc";
constexpr const char* g_drops =
    "SELECT e.uncore_event, c.package, sum(d.count) FROM dd_counter_drop AS d "
    "JOIN dd_event_type AS e ON e.id = d.event_type "
    "LEFT JOIN dd_cpu AS c ON c.id = d.cpu "
    "WHERE d.implausible = 1 AND e.uncore_event IS NOT NULL GROUP BY 1, 2";

/// The part of a count that falls into the first `part` of `whole` ticks.
std::uint64_t share(std::uint64_t count, std::uint64_t part, std::uint64_t whole)
{
    return static_cast<std::uint64_t>(wide_t{count} * part / whole);
}

/// A row as the store has it: ticks from `start` to `end`, both included.
struct Row {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    std::uint64_t count = 0;
};

/// Intervals of `length` ticks since `first`, and how many of them all events have so far.
struct Intervals {
    std::string path; ///< of the result
    std::uint64_t first = 0;
    std::uint64_t length = 0; ///< 0 for none
    std::uint64_t rows = 0;
};

[[noreturn]] void refuseIntervals(const std::string& path, std::uint64_t most, const char* where)
{
    throw ReportError(path + ": --interval makes more than " + std::to_string(most) + " intervals" +
                      where + ": give a longer one");
}

/// Adds up the rows of one event on one package, which come by their starts: what lies behind the
/// last tick so far was not counted yet.
class Adder {
public:
    /// `hasTimes`: the row's ticks are its time. Throws ReportError for too many intervals.
    void add(const Row& row, bool hasTimes, Intervals& intervals, UncoreCount& target)
    {
        target.total.count += row.count;
        if (!hasTimes || row.end < row.start) return;
        // CPUs that count the same time count it once.
        const std::uint64_t from = m_any ? std::max(row.start, m_last + 1) : row.start;
        if (from <= row.end) target.total.ticks += row.end - from + 1;
        if (intervals.length != 0) split(row, from, intervals, target);
        m_last = m_any ? std::max(m_last, row.end) : row.end;
        m_any = true;
    }

private:
    static CountedTime& partOf(UncoreCount& target, std::uint64_t number, Intervals& intervals)
    {
        const auto [part, isNew] = target.intervals.try_emplace(number);
        if (isNew && ++intervals.rows > g_mostIntervalRows)
            refuseIntervals(intervals.path, g_mostIntervalRows, " of all events");
        return part->second;
    }

    static void split(const Row& row, std::uint64_t from, Intervals& intervals, UncoreCount& target)
    {
        const std::uint64_t first = intervals.first;
        const std::uint64_t interval = intervals.length;
        const std::uint64_t length = row.end - row.start + 1;
        std::uint64_t given = 0;
        for (std::uint64_t number = (row.start - first) / interval;
             number <= (row.end - first) / interval; ++number) {
            const std::uint64_t begin = first + number * interval;
            const std::uint64_t end = std::min(row.end, begin + (interval - 1));
            const std::uint64_t until = share(row.count, end - row.start + 1, length);
            CountedTime& part = partOf(target, number, intervals);
            part.count += until - given;
            given = until;
            const std::uint64_t newTicks = std::max(from, begin);
            if (newTicks <= end) part.ticks += end - newTicks + 1;
        }
    }

    std::uint64_t m_last = 0;
    bool m_any = false;
};

std::uint64_t integerOf(const tb2::variant_t& value)
{
    return value.is_integer() ? value.integer_bits() : 0;
}

/// The ticks of uncore rows; nothing without any.
std::optional<std::pair<std::uint64_t, std::uint64_t>> ticksOf(rowvault1::IResult& result)
{
    std::optional<std::pair<std::uint64_t, std::uint64_t>> range;
    const std::string sql = "SELECT min(i.start_tsc), max(i.end_tsc) FROM sample_instance AS i "
                            "JOIN dd_event_type AS e ON e.id = i.event_type "
                            "WHERE e.uncore_event IS NOT NULL";
    visitRows(result, sql, [&](row_t row) {
        if (!row[0].is_null()) range.emplace(integerOf(row[0]), integerOf(row[1]));
    });
    return range;
}

void checkIntervals(rowvault1::IResult& result, std::uint64_t first, std::uint64_t last,
                    std::uint64_t interval)
{
    checkRowsHaveTicks(result);
    if (result.info("ticks") != "recorded")
        throw ReportError(result.databasePath() + ": has no times, which --interval needs");
    if ((last - first) / interval < g_mostIntervals) return;
    refuseIntervals(result.databasePath(), g_mostIntervals, "");
}

std::map<std::int64_t, std::string> namesOfEvents(rowvault1::IResult& result)
{
    std::map<std::int64_t, std::string> names;
    visitRows(result, "SELECT id, name FROM dd_uncore_event_type", [&](row_t row) {
        names.emplace(rowKey(row[0]), row[1].is_null() ? "" : std::string(row[1].as_text()));
    });
    return names;
}

} // namespace

std::optional<double> CountedTime::rate() const
{
    if (ticks == 0) return std::nullopt;
    return static_cast<double>(events()) / secondsOf(ticks);
}

UncoreCounts readUncoreCounts(rowvault1::IResult& result, std::optional<std::uint64_t> interval)
{
    UncoreCounts found;
    const auto ticks = ticksOf(result);
    if (ticks && interval) {
        // Damaged ticks may lie beyond those that SQLite compares as positive.
        if (ticks->second < ticks->first)
            throw ReportError(result.databasePath() + ": has ticks that cannot be");
        checkIntervals(result, ticks->first, ticks->second, *interval);
    }
    found.firstTick = ticks ? ticks->first : 0;
    const bool hasTimes = rowsAreSamples(result) && result.info("ticks") == "recorded";
    Intervals intervals{result.databasePath(), found.firstTick, interval.value_or(0)};
    std::map<EventOnPackage, Adder> adders;
    visitRows(result, g_rows, [&](row_t row) {
        const EventOnPackage key{rowKey(row[0]), rowKey(row[1])};
        const Row values{integerOf(row[2]), integerOf(row[3]), integerOf(row[4])};
        adders[key].add(values, hasTimes, intervals, found.counts[key]);
    });
    visitRows(result, g_drops, [&](row_t row) {
        found.counts[{rowKey(row[0]), rowKey(row[1])}].implausible += integerOf(row[2]);
    });
    const auto names = namesOfEvents(result);
    for (auto& [key, count] : found.counts) {
        const auto name = names.find(key.first);
        if (name != names.end()) count.event = name->second;
    }
    return found;
}

} // namespace samplefold::report
