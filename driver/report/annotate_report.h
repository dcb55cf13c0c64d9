#pragma once

#include <rowvault1/result.h>

#include <nlohmann/json.hpp>

#include <ostream>
#include <string>
#include <vector>

namespace samplefold::report {

struct AnnotateOptions {
    std::string function;             ///< as chooseFunctions takes it
    std::string module;               ///< name or path; empty: any
    std::string event;                ///< empty: all
    std::vector<std::string> sources; ///< directories with source files
};

/// The source lines of each function of that name, with what was counted at them and some lines
/// around. Throws rowvault1::StoreError, and ReportError where the function or event is not there.
void writeAnnotation(rowvault1::IResult& result, const AnnotateOptions& options, std::ostream& out);

/// The same as one JSON object with the key "functions", each with "function", "module", "events",
/// "inlined_from_other_files", "files" and "addresses"; of the lines those with samples only.
nlohmann::ordered_json annotationToJson(rowvault1::IResult& result, const AnnotateOptions& options);

} // namespace samplefold::report
