#pragma once

#include "report/function_choice.h"
#include "report/sums.h"

#include <rowvault1/result.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace samplefold::report {

/// What was counted, by the events of an annotation and in their order.
using EventSums = std::vector<Sum>;

/// Lines of one source file that have samples.
struct AnnotatedFile {
    std::string path;   ///< as debug information has it
    bool isOwn = false; ///< it is the file of the function itself
    EventSums all;
    std::map<std::int64_t, EventSums> lines;
};

/// Where in a function samples lie.
struct Annotation {
    struct Event {
        std::string name;
        Sum all; ///< in all of the result
    };

    ChosenFunction function;
    std::vector<Event> events; ///< that have samples in the function
    EventSums all;
    EventSums inlinedFromElsewhere;               ///< at places of code inlined from other files
    std::vector<AnnotatedFile> files;             ///< the own one first, then those with most
    std::map<std::uint64_t, EventSums> addresses; ///< of places without a line, by relative address
};

/// Annotates functions by the samples of all events, or of those named `event` unless that is
/// empty. A sample counts for the function that has the code. Throws rowvault1::StoreError, and
/// ReportError for an event that the result does not have.
std::vector<Annotation> annotate(rowvault1::IResult& result,
                                 const std::vector<ChosenFunction>& functions,
                                 const std::string& event);

} // namespace samplefold::report
