#pragma once

#include <rowvault1/result.h>

#include <nlohmann/json.hpp>

#include <ostream>

namespace samplefold::report {

struct ModuleOptions {
    /// Modules without samples, and names that are no files, are shown too.
    bool all = false;
    /// Every path that was tried is listed, not only those of modules that hold samples and were
    /// not found.
    bool attempts = false;
};

/// The modules of a result: which file was found for each, what names are missing and why. Throws
/// rowvault1::StoreError.
void writeModules(rowvault1::IResult& result, const ModuleOptions& options, std::ostream& out);

/// The same as one JSON object with the keys "modules" and "not_shown" (a number of modules). A
/// module has "attempts" where they are listed; what is not known is null. "samples" is missing
/// where rows are no samples.
nlohmann::ordered_json modulesToJson(rowvault1::IResult& result, const ModuleOptions& options);

} // namespace samplefold::report
