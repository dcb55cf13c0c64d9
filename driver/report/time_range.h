#pragma once

#include <rowvault1/result.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace samplefold::report {

/// A moment as a user gives it: a tick, or nanoseconds since the first tick of the recording.
struct TimePoint {
    bool sinceFirst = false;
    std::uint64_t value = 0;
};

/// Reads "1234" (a tick) or a number with the unit s, ms, us or ns ("1.5ms"). Nothing for any other
/// text, for parts of a nanosecond and for more than 64 bits.
std::optional<TimePoint> parseTime(std::string_view text);

/// Ticks from `from` to `to`, both included; an end that is not set is open.
struct TickRange {
    std::optional<std::uint64_t> from;
    std::optional<std::uint64_t> to;

    bool isSet() const { return from || to; }
    bool isBackward() const { return from && to && *from > *to; }
};

/// The tick of a moment in a result. Throws ReportError for a time where the result has no times.
std::uint64_t tickOf(rowvault1::IResult& result, const TimePoint& point);

/// The tick that a key of the load_info view holds; nothing where it holds none.
std::optional<std::uint64_t> infoTick(rowvault1::IResult& result, const char* key);

/// Seconds of a number of ticks, which are nanoseconds.
double secondsOf(std::uint64_t ticks);
/// Whole ticks that come nearest to a number of seconds, which is 0 or more and no more than 1e9.
std::uint64_t ticksIn(double seconds);
/// A number of seconds down to the nanosecond, without its unit.
std::string secondsText(double seconds);
/// A number of nanoseconds in text as seconds, "1.000000005 s"; the text itself when it is none.
std::string secondsText(const std::string& ticks);
/// A tick as a person reads it: in seconds, or as "tick 5" where the recording has no times.
std::string tickText(rowvault1::IResult& result, std::uint64_t tick);

/// Throws ReportError when the rows of samples have no ticks of their own.
void checkRowsHaveTicks(rowvault1::IResult& result);

/// " WHERE ..." on the rows of sample_instance whose last tick lies in the range, by which only
/// these are read; empty for a range that is not set.
std::string whereInRange(const TickRange& range);

} // namespace samplefold::report
