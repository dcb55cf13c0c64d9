#include "report/timeline.h"

#include "report/core_class_bands.h"
#include "report/report_error.h"
#include "report/sql_rows.h"
#include "report/text_table.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <unordered_map>

namespace samplefold::report {
namespace {

/// Ticks are compared as the unsigned numbers that they are.
constexpr const char* g_firstEndSql =
    "SELECT end_tsc FROM sample_instance ORDER BY end_tsc < 0, end_tsc LIMIT 1";
constexpr const char* g_lastEndSql =
    "SELECT end_tsc FROM sample_instance ORDER BY end_tsc < 0 DESC, end_tsc DESC LIMIT 1";
constexpr const char* g_sampledEventsSql =
    "SELECT e.id, e.name FROM dd_event_type e "
    "WHERE EXISTS (SELECT 1 FROM sample_instance i WHERE i.event_type = e.id) ORDER BY e.id";

/// Events of one name count as one.
struct EventChoice {
    std::string name;
    std::string keys; ///< of their rows, joined by commas
};

/// The name that was asked for where samples have it, else that of the first event with samples.
EventChoice chooseEvent(rowvault1::IResult& result, const std::string& wanted)
{
    std::optional<EventChoice> choice;
    visitRows(result, g_sampledEventsSql, [&](const auto& row) {
        const std::string name = toText(row[1]);
        if (choice ? name != choice->name : !wanted.empty() && name != wanted) return;
        if (!choice) choice = EventChoice{name, ""};
        choice->keys += (choice->keys.empty() ? "" : ",") + toText(row[0]);
    });
    if (choice) return *choice;
    throw ReportError(result.databasePath() +
                      (wanted.empty() ? ": has no samples to show over time"
                                      : ": no samples of an event '" + printable(wanted) + "'"));
}

std::optional<std::uint64_t> tickBySql(rowvault1::IResult& result, const char* sql)
{
    const SqlRows rows = readRows(result, sql);
    if (rows.rows.empty()) return std::nullopt;
    return rows.rows[0][0].integer_bits();
}

/// Ticks of the recording: from its first one, or where it has no times from its first sample.
TickRange rangeOfRecording(rowvault1::IResult& result)
{
    const auto firstEnd = tickBySql(result, g_firstEndSql).value_or(0);
    const auto lastEnd = tickBySql(result, g_lastEndSql).value_or(0);
    return {std::min(infoTick(result, "first_time").value_or(firstEnd), firstEnd),
            std::max(infoTick(result, "last_time").value_or(lastEnd), lastEnd)};
}

/// The part that was asked for; an end outside of the recording may leave a single tick.
TickBins binsOf(const TickRange& recording, const TimelineOptions& options)
{
    const std::uint64_t first = options.range.from.value_or(*recording.from);
    const std::uint64_t last = options.range.to.value_or(std::max(*recording.to, first));
    return {std::min(first, last), last, options.bins};
}

/// An interval of a thread with the events in it.
struct Interval {
    std::int64_t thread;
    std::uint64_t start;
    std::uint64_t end;
    long double count;
};

/// The intervals of an event that may lie in the bins: rows stand in the order of their ends.
template <class Visit>
void visitIntervals(rowvault1::IResult& result, const EventChoice& event, const TickBins& bins,
                    std::uint64_t recordingStart, Visit visit)
{
    const std::string sql =
        "SELECT thread, start_tsc, end_tsc, count FROM (SELECT thread, start_tsc, end_tsc, count, "
        "event_type FROM sample_instance" +
        whereInRange({bins.first(), {}}) + ") WHERE event_type IN (" + event.keys + ")";
    visitRows(result, sql, [&](const auto& row) {
        const std::uint64_t end = row[2].integer_bits();
        const std::uint64_t told = row[1].is_integer() ? row[1].integer_bits() : end;
        const std::uint64_t start = std::min(std::max(told, recordingStart), end);
        const auto count = static_cast<std::int64_t>(row[3].integer_bits());
        visit(Interval{rowKey(row[0]), start, end, static_cast<long double>(count)});
    });
}

bool isWanted(const ThreadName& name, const std::string& wanted)
{
    return wanted.empty() || toText(name.tid) == wanted || toText(name.name) == wanted;
}

using Totals = std::unordered_map<std::int64_t, long double>;

/// Counts by thread, with a 0 for those that have nothing but bands.
Totals addUp(rowvault1::IResult& result, const EventChoice& event, const TickBins& bins,
             std::uint64_t recordingStart)
{
    Totals totals;
    visitIntervals(result, event, bins, recordingStart, [&](const Interval& interval) {
        const long double share = bins.shareOf(interval.start, interval.end);
        if (share > 0) totals[interval.thread] += interval.count * share;
    });
    visitCoreClassBands(result, [&](const CoreClassBand& band) {
        if (bins.shareOf(band.start, band.end) > 0) totals.try_emplace(band.thread);
    });
    return totals;
}

std::vector<ThreadTimeline> wantedThreads(rowvault1::IResult& result, const Totals& totals,
                                          const std::string& wanted)
{
    ThreadNames names = readThreadNames(result);
    const bool isKnown = std::ranges::any_of(
        names, [&](const auto& entry) { return isWanted(entry.second, wanted); });
    if (!wanted.empty() && !isKnown) {
        throw ReportError(result.databasePath() + ": no thread has the id or name '" +
                          printable(wanted) + "'");
    }
    std::vector<ThreadTimeline> threads;
    for (const auto& [thread, count] : totals) {
        if (isWanted(names[thread], wanted))
            threads.push_back({thread, names[thread], count, {}, {}});
    }
    std::ranges::sort(threads, [](const ThreadTimeline& a, const ThreadTimeline& b) {
        return a.count != b.count ? a.count > b.count : a.thread < b.thread;
    });
    return threads;
}

void hideBehind(std::uint64_t limit, Timeline& timeline)
{
    auto& threads = timeline.threads;
    if (limit == 0 || limit >= threads.size()) return;
    for (std::size_t i = limit; i < threads.size(); ++i)
        timeline.hiddenCount += threads[i].count;
    timeline.hiddenThreads = threads.size() - limit;
    threads.resize(limit);
}

/// Room for what is shown: a row of cells per thread, and one per class of a thread.
class CellRoom {
public:
    CellRoom(const rowvault1::IResult& result, std::size_t binCount)
        : m_result(result), m_binCount(binCount)
    {
    }
    /// A row of zeros. Throws ReportError where they become too many.
    std::vector<long double> takeRow()
    {
        if (m_binCount > m_left) {
            throw ReportError(m_result.databasePath() +
                              ": too many threads for that many bins: give fewer --bins or a "
                              "--limit");
        }
        m_left -= m_binCount;
        return std::vector<long double>(m_binCount);
    }

private:
    const rowvault1::IResult& m_result;
    std::size_t m_binCount;
    std::size_t m_left = 10'000'000; ///< 160 MB
};

/// The bins of the threads that are shown: a second reading, so that the others need none.
void fillBins(rowvault1::IResult& result, const EventChoice& event, std::uint64_t recordingStart,
              Timeline& timeline)
{
    const TickBins& bins = timeline.bins;
    std::unordered_map<std::int64_t, ThreadTimeline*> shown;
    CellRoom room(result, bins.count());
    for (ThreadTimeline& thread : timeline.threads) {
        thread.counts = room.takeRow();
        shown.emplace(thread.thread, &thread);
    }
    const auto find = [&](std::int64_t thread) {
        const auto entry = shown.find(thread);
        return entry != shown.end() ? entry->second : nullptr;
    };
    visitIntervals(result, event, bins, recordingStart, [&](const Interval& interval) {
        ThreadTimeline* const thread = find(interval.thread);
        if (thread == nullptr) return;
        bins.add(interval.start, interval.end, interval.count, thread->counts);
    });
    visitCoreClassBands(result, [&](const CoreClassBand& band) {
        ThreadTimeline* const thread = find(band.thread);
        if (thread == nullptr || bins.shareOf(band.start, band.end) <= 0) return;
        std::vector<long double>& ticks =
            thread->classes.try_emplace(std::string(band.name)).first->second;
        if (ticks.empty()) ticks = room.takeRow();
        const auto length = static_cast<long double>(band.end - band.start) + 1;
        bins.add(band.start, band.end, length, ticks);
    });
}

} // namespace

Timeline readTimeline(rowvault1::IResult& result, const TimelineOptions& options)
{
    checkRowsHaveTicks(result);
    const EventChoice event = chooseEvent(result, options.event);
    const TickRange recording = rangeOfRecording(result);
    Timeline timeline{event.name, binsOf(recording, options), 0, {}, 0, 0};
    const Totals totals = addUp(result, event, timeline.bins, *recording.from);
    for (const auto& [thread, count] : totals)
        timeline.count += count;
    timeline.threads = wantedThreads(result, totals, options.thread);
    hideBehind(options.limit, timeline);
    fillBins(result, event, *recording.from, timeline);
    return timeline;
}

} // namespace samplefold::report
