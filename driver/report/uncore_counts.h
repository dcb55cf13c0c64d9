#pragma once

#include <rowvault1/result.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace samplefold::report {

/// What an event counted in a part of the run.
struct CountedTime {
    std::uint64_t count = 0; ///< wraps: a damaged profile may hold any
    std::uint64_t ticks = 0; ///< ns in which it was counted, each once

    /// A second; nothing where no time is known.
    std::optional<double> rate() const;
    std::int64_t events() const { return static_cast<std::int64_t>(count); }
};

/// What an uncore event counted on a package.
struct UncoreCount {
    std::string event;
    CountedTime total;
    std::uint64_t implausible = 0; ///< values left out, since they cannot be true
    /// By number of the interval since the first tick, where intervals were asked for; those in
    /// which nothing was counted are left out.
    std::map<std::uint64_t, CountedTime> intervals;
};

/// Row of an uncore event and row of a package, -1 where the package is not known.
using EventOnPackage = std::pair<std::int64_t, std::int64_t>;

/// Counts of a result's uncore events.
struct UncoreCounts {
    std::map<EventOnPackage, UncoreCount> counts;
    std::uint64_t firstTick = 0; ///< where intervals start
};

/// Reads them, with `interval` (in ns, not 0) also by intervals: a row that lies in several is
/// shared out among them by its time, so that the sum stays. Throws rowvault1::StoreError, and
/// ReportError for intervals where the rows have no times, or of which there would be too many.
UncoreCounts readUncoreCounts(rowvault1::IResult& result, std::optional<std::uint64_t> interval);

} // namespace samplefold::report
