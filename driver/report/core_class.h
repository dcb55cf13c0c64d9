#pragma once

#include "report/time_range.h"

#include <rowvault1/result.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <ostream>

namespace samplefold::report {

struct CoreClassOptions {
    std::uint64_t limit = 10; ///< threads; 0: all
    TickRange range;          ///< bands are clipped to it
};

/// The summary of a result, and for each thread the time in which its CPUs reported each class,
/// from the bands of hardware feedback: the threads by falling time, the classes of each as well.
/// Throws rowvault1::StoreError, and ReportError where the result has no such bands.
void writeCoreClasses(rowvault1::IResult& result, const CoreClassOptions& options,
                      std::ostream& out);
/// The same as one JSON object with the keys of summaryToJson, "by" ("core-class"), "entries" and
/// "not_shown".
nlohmann::ordered_json coreClassesToJson(rowvault1::IResult& result,
                                         const CoreClassOptions& options);

} // namespace samplefold::report
