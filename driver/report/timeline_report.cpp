#include "report/timeline_report.h"

#include "report/sql_rows.h"
#include "report/sums.h"
#include "report/text_table.h"
#include "report/timeline_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>

namespace samplefold::report {
namespace {

using nlohmann::ordered_json;

/// Counts are whole, but for those of parts of intervals.
std::string countText(long double count)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.0Lf", count);
    return text;
}

std::string rateText(double rate)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.4g", rate);
    return text;
}

/// How ticks become the time that people read.
struct Clock {
    bool hasTimes;           ///< ticks are nanoseconds
    double ticksPerUnit;     ///< a second, or a tick
    const char* unit;        ///< of lengths
    const char* perUnit;     ///< of rates
    std::uint64_t firstTick; ///< where time starts
};

Clock clockOf(rowvault1::IResult& result)
{
    const auto first = infoTick(result, "first_time");
    if (result.info("ticks") == "numbered" || !first) return {false, 1, " ticks", " per tick", 0};
    return {true, 1e9, " s", " per second", *first};
}

/// Time since the recording began, or the tick.
double sinceFirst(const Clock& clock, std::uint64_t tick)
{
    const std::uint64_t ticks = tick - clock.firstTick;
    const double signedTicks =
        tick >= clock.firstTick ? static_cast<double>(ticks) : -static_cast<double>(0 - ticks);
    return signedTicks / clock.ticksPerUnit;
}

std::string timeText(const Clock& clock, double time)
{
    return (clock.hasTimes ? secondsText(time) : rateText(time)) + clock.unit;
}

std::string placeText(const Clock& clock, std::uint64_t tick)
{
    return clock.hasTimes ? timeText(clock, sinceFirst(clock, tick))
                          : "tick " + std::to_string(tick);
}

std::optional<double> percentIn(long double part, long double whole)
{
    if (whole <= 0) return std::nullopt;
    return static_cast<double>(100 * part / whole);
}

void writeHead(const Timeline& timeline, const Clock& clock, double mostRate, std::ostream& out)
{
    const TickBins& bins = timeline.bins;
    out << "Event " << printable(timeline.event) << " over time by thread\n  from "
        << placeText(clock, bins.first()) << " to " << placeText(clock, bins.last()) << ", "
        << bins.count() << (bins.count() == 1 ? " bin of " : " bins of ")
        << timeText(clock, bins.ticksPerBin() / clock.ticksPerUnit) << "\n  a full bar is "
        << rateText(mostRate) << clock.perUnit << '\n';
}

void writeThreadHead(const ThreadTimeline& thread, const Timeline& timeline, std::ostream& out)
{
    out << "\n  pid " << toText(thread.name.pid) << "  tid " << toText(thread.name.tid) << "  "
        << printable(toText(thread.name.name)) << "  count " << countText(thread.count) << ", "
        << percentText(percentIn(thread.count, timeline.count)) << " of the event\n";
}

void writeNotShown(const Timeline& timeline, std::ostream& out)
{
    if (timeline.threads.empty()) out << "\n  nothing was counted in this part\n";
    if (timeline.hiddenThreads == 0) return;
    out << "\n  not shown: " << timeline.hiddenThreads
        << (timeline.hiddenThreads == 1 ? " thread" : " threads") << " with count "
        << countText(timeline.hiddenCount) << " (--limit)\n";
}

ordered_json threadToJson(const ThreadTimeline& thread, const Timeline& timeline,
                          const Clock& clock)
{
    const double length = timeline.bins.ticksPerBin() / clock.ticksPerUnit;
    const auto percent = percentIn(thread.count, timeline.count);
    ordered_json json{{"pid", toJson(thread.name.pid)},
                      {"tid", toJson(thread.name.tid)},
                      {"thread", toJson(thread.name.name)},
                      {"count", static_cast<double>(thread.count)},
                      {"percent", percent ? ordered_json(*percent) : ordered_json()},
                      {"counts", ordered_json::array()},
                      {"rates", ordered_json::array()},
                      {"core_classes", ordered_json::array()}};
    for (const long double count : thread.counts) {
        json["counts"].push_back(static_cast<double>(count));
        json["rates"].push_back(static_cast<double>(count) / length);
    }
    for (const auto& [name, ticks] : thread.classes) {
        json["core_classes"].push_back(
            {{"class", name}, {"ticks", std::vector<double>(ticks.begin(), ticks.end())}});
    }
    return json;
}

} // namespace

void writeTimeline(rowvault1::IResult& result, const TimelineOptions& options, std::size_t width,
                   std::ostream& out)
{
    const Timeline timeline = readTimeline(result, options);
    const Clock clock = clockOf(result);
    const TimelineText text(timeline, width);
    const double columnLength = text.binsPerColumn() * timeline.bins.ticksPerBin();
    writeHead(timeline, clock, text.fullBar() / columnLength * clock.ticksPerUnit, out);
    for (const ThreadTimeline& thread : timeline.threads) {
        writeThreadHead(thread, timeline, out);
        out << "  |" << text.bars(thread) << "|\n";
        if (!thread.classes.empty()) out << "  |" << text.classes(thread) << "|  core class\n";
    }
    const std::string legend = text.legend();
    if (!legend.empty()) out << "\n  core classes: " << printable(legend) << '\n';
    writeNotShown(timeline, out);
}

ordered_json timelineToJson(rowvault1::IResult& result, const TimelineOptions& options)
{
    const Timeline timeline = readTimeline(result, options);
    const Clock clock = clockOf(result);
    const TickBins& bins = timeline.bins;
    const auto seconds = [&](double value) {
        return clock.hasTimes ? ordered_json(value) : ordered_json();
    };
    ordered_json json{
        {"report", "timeline"},
        {"event", timeline.event},
        {"ticks", clock.hasTimes ? "recorded" : "numbered"},
        {"from", {{"tick", bins.first()}, {"seconds", seconds(sinceFirst(clock, bins.first()))}}},
        {"to", {{"tick", bins.last()}, {"seconds", seconds(sinceFirst(clock, bins.last()))}}},
        {"bins", bins.count()},
        {"bin_ticks", bins.ticksPerBin()},
        {"bin_seconds", seconds(bins.ticksPerBin() / clock.ticksPerUnit)},
        {"count", static_cast<double>(timeline.count)},
        {"threads", ordered_json::array()}};
    for (const ThreadTimeline& thread : timeline.threads)
        json["threads"].push_back(threadToJson(thread, timeline, clock));
    json["not_shown"] = {{"threads", timeline.hiddenThreads},
                         {"count", static_cast<double>(timeline.hiddenCount)}};
    return json;
}

} // namespace samplefold::report
