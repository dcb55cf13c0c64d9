#pragma once

#include "report/time_range.h"

#include <rowvault1/result.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <ostream>

namespace samplefold::report {

struct OnCpuOptions {
    std::uint64_t limit = 10; ///< threads; 0: all
    TickRange range;          ///< spans are clipped to it
};

/// The summary of a result, and for each thread how long it was on a CPU, in how many spans, and
/// which share of the range that is: of the recording where no range is set. Throws
/// rowvault1::StoreError, and ReportError where the result knows no context switches.
void writeOnCpu(rowvault1::IResult& result, const OnCpuOptions& options, std::ostream& out);
/// The same as one JSON object with the keys of summaryToJson, "report" ("on-cpu"), "seconds" (the
/// length of the range), "threads" and "not_shown".
nlohmann::ordered_json onCpuToJson(rowvault1::IResult& result, const OnCpuOptions& options);

} // namespace samplefold::report
