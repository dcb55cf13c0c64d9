#pragma once

#include "report/time_range.h"

#include <rowvault1/result.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace samplefold::report {

/// What the samples are grouped by in a report.
enum class Grouping {
    module,
    address,
    function,        ///< that has the code: a place of inlined code counts for it
    inlinedFunction, ///< innermost inlined one where there is one, else as `function`
    sourceLine,
    process,
    thread,
    cpu,
    event
};

/// All groupings by the names that a user gives.
const std::vector<std::pair<std::string, Grouping>>& groupings();

struct ReportOptions {
    Grouping by = Grouping::module;
    std::uint64_t limit = 10; ///< entries per event; 0: all
    TickRange range = {};
};

/// The summary of a result, its quality counts, and the entries with the highest counts per event.
/// Throws rowvault1::StoreError, and ReportError for a range in a result whose rows have no ticks.
void writeReport(rowvault1::IResult& result, const ReportOptions& options, std::ostream& out);
/// The same as one JSON object with the keys "summary", "quality", "by" and "entries", and
/// "range" where one is set.
nlohmann::ordered_json reportToJson(rowvault1::IResult& result, const ReportOptions& options);

} // namespace samplefold::report
