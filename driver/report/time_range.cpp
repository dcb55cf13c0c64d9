#include "report/time_range.h"

#include "report/report_error.h"
#include "report/sql_rows.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

namespace samplefold::report {
namespace {

constexpr std::uint64_t g_mostTicks = std::numeric_limits<std::uint64_t>::max();
constexpr double g_ticksPerSecond = 1e9;

std::optional<std::uint64_t> wholeNumber(std::string_view text)
{
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || stop != end) return std::nullopt;
    return value;
}

/// Digits behind the point of a second, for the unit; nothing for what is no unit.
std::optional<std::size_t> decimalsOf(std::string_view unit)
{
    if (unit == "s") return 9;
    if (unit == "ms") return 6;
    if (unit == "us") return 3;
    if (unit == "ns") return 0;
    return std::nullopt;
}

/// Nanoseconds of a decimal number of a unit with `decimals` digits down to a nanosecond.
std::optional<std::uint64_t> nanoseconds(std::string_view number, std::size_t decimals)
{
    const std::size_t point = number.find('.');
    const std::string_view whole = number.substr(0, point);
    std::string_view part;
    if (point != std::string_view::npos) {
        part = number.substr(point + 1);
        if (part.empty()) return std::nullopt;
        while (part.ends_with('0'))
            part.remove_suffix(1);
    }
    if (whole.empty() || part.size() > decimals) return std::nullopt;
    const std::string digits =
        std::string(whole) + std::string(part) + std::string(decimals - part.size(), '0');
    return wholeNumber(digits);
}

/// SQLite keeps the upper half of the ticks as negative numbers.
std::string stored(std::uint64_t tick)
{
    return std::to_string(static_cast<std::int64_t>(tick));
}

} // namespace

std::optional<TimePoint> parseTime(std::string_view text)
{
    const std::size_t unitAt = std::min(text.find_first_not_of("0123456789."), text.size());
    const std::string_view number = text.substr(0, unitAt);
    if (unitAt == text.size()) {
        const auto tick = wholeNumber(number);
        return tick ? std::optional(TimePoint{false, *tick}) : std::nullopt;
    }
    const auto decimals = decimalsOf(text.substr(unitAt));
    const auto time = decimals ? nanoseconds(number, *decimals) : std::nullopt;
    return time ? std::optional(TimePoint{true, *time}) : std::nullopt;
}

std::uint64_t tickOf(rowvault1::IResult& result, const TimePoint& point)
{
    if (!point.sinceFirst) return point.value;
    const auto first = wholeNumber(result.info("first_time"));
    if (result.info("ticks") == "numbered" || !first) {
        throw ReportError(result.databasePath() +
                          ": its recording has no times: give ticks, which are plain numbers");
    }
    return point.value > g_mostTicks - *first ? g_mostTicks : *first + point.value;
}

std::optional<std::uint64_t> infoTick(rowvault1::IResult& result, const char* key)
{
    return wholeNumber(result.info(key));
}

double secondsOf(std::uint64_t ticks)
{
    return static_cast<double>(ticks) / g_ticksPerSecond;
}

std::uint64_t ticksIn(double seconds)
{
    return static_cast<std::uint64_t>(std::llround(seconds * g_ticksPerSecond));
}

std::string secondsText(double seconds)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.9f", seconds);
    return text;
}

std::string secondsText(const std::string& ticks)
{
    if (ticks.empty() || ticks.find_first_not_of("0123456789") != std::string::npos) return ticks;
    const std::string padded = std::string(ticks.size() < 10 ? 10 - ticks.size() : 0, '0') + ticks;
    return padded.substr(0, padded.size() - 9) + "." + padded.substr(padded.size() - 9) + " s";
}

std::string tickText(rowvault1::IResult& result, std::uint64_t tick)
{
    const std::string number = std::to_string(tick);
    return result.info("ticks") == "recorded" ? secondsText(number) : "tick " + number;
}

void checkRowsHaveTicks(rowvault1::IResult& result)
{
    if (rowsAreSamples(result)) return;
    throw ReportError(
        result.databasePath() +
        ": its rows are sums over all of the recording: to ask for a part of it, load "
        "again with --store-each-sample on");
}

std::string whereInRange(const TickRange& range)
{
    if (!range.isSet()) return {};
    const std::uint64_t from = range.from.value_or(0);
    const std::uint64_t to = range.to.value_or(g_mostTicks);
    constexpr std::uint64_t upperHalf = std::uint64_t{1} << 63;
    const std::string joint = from < upperHalf && to >= upperHalf ? " OR" : " AND";
    return " WHERE end_tsc >= " + stored(from) + joint + " end_tsc <= " + stored(to);
}

} // namespace samplefold::report
