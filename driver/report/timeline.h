#pragma once

#include "report/thread_names.h"
#include "report/tick_bins.h"
#include "report/time_range.h"

#include <rowvault1/result.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace samplefold::report {

struct TimelineOptions {
    std::string thread;       ///< a thread id or name; empty for all threads
    std::string event;        ///< name of an event; empty for the first one with samples
    std::size_t bins = 60;    ///< at least 1
    std::uint64_t limit = 10; ///< threads; 0: all
    TickRange range;          ///< where an end is not set, that of the recording
};

/// What a thread counted over time.
struct ThreadTimeline {
    std::int64_t thread = -1;
    ThreadName name;
    long double count = 0;           ///< in the range
    std::vector<long double> counts; ///< in each bin
    /// Ticks in each bin in which the thread's CPUs reported a class, by its name.
    std::map<std::string, std::vector<long double>, std::less<>> classes;
};

struct Timeline {
    std::string event;
    TickBins bins;
    long double count = 0;               ///< of all threads in the range
    std::vector<ThreadTimeline> threads; ///< by falling count, as far as they are shown
    std::size_t hiddenThreads = 0;
    long double hiddenCount = 0;
};

/// Spreads the count of each interval evenly over its ticks, and adds it up in bins. The first
/// interval of a thread, whose start is a guess, begins with the recording at the earliest. Threads
/// with core classes are there even if they counted nothing. Throws rowvault1::StoreError, and
/// ReportError where there is no such event or thread, or the rows have no ticks of their own.
Timeline readTimeline(rowvault1::IResult& result, const TimelineOptions& options);

} // namespace samplefold::report
