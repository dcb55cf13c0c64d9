#include "report/on_cpu.h"

#include "report/report_error.h"
#include "report/sql_rows.h"
#include "report/summary.h"
#include "report/sums.h"
#include "report/text_table.h"
#include "report/thread_names.h"

#include <algorithm>
#include <limits>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace samplefold::report {
namespace {

using nlohmann::ordered_json;

struct ThreadTime {
    std::int64_t thread = -1;
    std::uint64_t ticks = 0;
    std::uint64_t spans = 0;
    ThreadName name;
};

/// The threads by falling time, and the ticks that they share.
struct OnCpu {
    std::vector<ThreadTime> threads;
    std::uint64_t rangeTicks = 0;
};

/// Adds up the spans by thread, as far as they lie in the range. Without the times of the recording
/// the range is that of the spans.
OnCpu addUpSpans(rowvault1::IResult& result, const TickRange& range)
{
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    const std::uint64_t from = range.from.value_or(0);
    const std::uint64_t to = range.to.value_or(most);
    std::unordered_map<std::int64_t, ThreadTime> byThread;
    std::uint64_t first = most;
    std::uint64_t last = 0;
    bool anySpans = false;
    visitRows(result, "SELECT thread, start_tsc, end_tsc FROM cpu_running_data_t",
              [&](const auto& row) {
                  anySpans = true;
                  const std::uint64_t start = row[1].integer_bits();
                  const std::uint64_t end = std::max(start, row[2].integer_bits());
                  first = std::min(first, start);
                  last = std::max(last, end);
                  if (end < from || start > to) return;
                  ThreadTime& time = byThread[rowKey(row[0])];
                  time.ticks += std::min(end, to) - std::max(start, from);
                  ++time.spans;
              });
    if (!anySpans) {
        throw ReportError(result.databasePath() +
                          ": its recording has no context switch records: record with perf record "
                          "--switch-events");
    }
    OnCpu answer;
    const std::uint64_t begin = range.from.value_or(infoTick(result, "first_time").value_or(first));
    const std::uint64_t finish = range.to.value_or(infoTick(result, "last_time").value_or(last));
    answer.rangeTicks = finish > begin ? finish - begin : 0;
    for (auto& [thread, time] : byThread) {
        time.thread = thread;
        answer.threads.push_back(time);
    }
    return answer;
}

OnCpu readOnCpu(rowvault1::IResult& result, const OnCpuOptions& options)
{
    OnCpu answer = addUpSpans(result, options.range);
    ThreadNames names = readThreadNames(result);
    for (ThreadTime& time : answer.threads)
        time.name = names[time.thread];
    std::sort(answer.threads.begin(), answer.threads.end(), [](const auto& a, const auto& b) {
        return std::tie(b.ticks, b.spans, a.thread) < std::tie(a.ticks, a.spans, b.thread);
    });
    return answer;
}

std::size_t shownThreads(const OnCpu& onCpu, std::uint64_t limit)
{
    const std::size_t all = onCpu.threads.size();
    return limit != 0 && limit < all ? static_cast<std::size_t>(limit) : all;
}

/// Seconds of the threads from a place on.
double secondsBehind(const OnCpu& onCpu, std::size_t place)
{
    std::uint64_t ticks = 0;
    for (std::size_t i = place; i < onCpu.threads.size(); ++i)
        ticks += onCpu.threads[i].ticks;
    return secondsOf(ticks);
}

std::optional<double> shareOf(std::uint64_t ticks, const OnCpu& onCpu)
{
    if (onCpu.rangeTicks == 0) return std::nullopt;
    return 100.0 * static_cast<double>(ticks) / static_cast<double>(onCpu.rangeTicks);
}

} // namespace

void writeOnCpu(rowvault1::IResult& result, const OnCpuOptions& options, std::ostream& out)
{
    const OnCpu onCpu = readOnCpu(result, options);
    writeSummary(result, out, options.range);
    out << "\nTime on CPU in " << secondsText(secondsOf(onCpu.rangeTicks)) << " s by thread\n";
    TextTable table;
    for (const char* title : {"pid", "tid"})
        table.addColumn(title, TextTable::Align::right);
    table.addColumn("thread", TextTable::Align::left);
    for (const char* title : {"seconds", "share", "spans", "mean span"})
        table.addColumn(title, TextTable::Align::right);
    const std::size_t shown = shownThreads(onCpu, options.limit);
    for (std::size_t i = 0; i < shown; ++i) {
        const ThreadTime& time = onCpu.threads[i];
        const double seconds = secondsOf(time.ticks);
        table.addRow({toText(time.name.pid), toText(time.name.tid), toText(time.name.name),
                      secondsText(seconds), percentText(shareOf(time.ticks, onCpu)),
                      std::to_string(time.spans),
                      secondsText(seconds / static_cast<double>(time.spans))});
    }
    table.print(out, "  ");
    if (shown < onCpu.threads.size()) {
        const std::size_t hidden = onCpu.threads.size() - shown;
        out << "  not shown: " << hidden << (hidden == 1 ? " thread" : " threads") << " with "
            << secondsText(secondsBehind(onCpu, shown)) << " s (--limit)\n";
    }
}

ordered_json onCpuToJson(rowvault1::IResult& result, const OnCpuOptions& options)
{
    const OnCpu onCpu = readOnCpu(result, options);
    ordered_json report = summaryToJson(result, options.range);
    report["report"] = "on-cpu";
    report["seconds"] = secondsOf(onCpu.rangeTicks);
    ordered_json& list = report["threads"] = ordered_json::array();
    const std::size_t shown = shownThreads(onCpu, options.limit);
    for (std::size_t i = 0; i < shown; ++i) {
        const ThreadTime& time = onCpu.threads[i];
        const double seconds = secondsOf(time.ticks);
        const auto share = shareOf(time.ticks, onCpu);
        list.push_back({{"pid", toJson(time.name.pid)},
                        {"tid", toJson(time.name.tid)},
                        {"thread", toJson(time.name.name)},
                        {"seconds", seconds},
                        {"percent", share ? ordered_json(*share) : ordered_json()},
                        {"spans", time.spans},
                        {"mean_seconds", seconds / static_cast<double>(time.spans)}});
    }
    report["not_shown"] = {{"threads", onCpu.threads.size() - shown},
                           {"seconds", secondsBehind(onCpu, shown)}};
    return report;
}

} // namespace samplefold::report
