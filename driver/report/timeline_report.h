#pragma once

#include "report/timeline.h"

#include <nlohmann/json.hpp>

#include <ostream>

namespace samplefold::report {

/// A chart for each thread: a bar per bin, as high as its rate, and below it which core class held
/// for the longest part of each bin. No line has more than `width` letters, but for names; where
/// there are more bins than fit, a bar stands for several. Throws as readTimeline.
void writeTimeline(rowvault1::IResult& result, const TimelineOptions& options, std::size_t width,
                   std::ostream& out);

/// The same as one JSON object with "report" ("timeline"), "event", "ticks" ("recorded": they are
/// nanoseconds, or "numbered"), the range, "threads" with their counts and rates in each bin, and
/// "not_shown".
nlohmann::ordered_json timelineToJson(rowvault1::IResult& result, const TimelineOptions& options);

} // namespace samplefold::report
