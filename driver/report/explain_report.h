#pragma once

#include <rowvault1/result.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <ostream>

namespace samplefold::report {

/// One sample of a result: what it is, its branch records with what was found out about each, and
/// its call chain beside the one that software collected. Throws as explainSample.
void writeExplanation(rowvault1::IResult& result, std::int64_t number, std::ostream& out);
/// The same as one JSON object with the key "sample".
nlohmann::ordered_json explanationToJson(rowvault1::IResult& result, std::int64_t number);

/// What became of the branch records of all samples, with a sample of each kind to look at. Throws
/// rowvault1::StoreError.
void writeBranchOverview(rowvault1::IResult& result, std::ostream& out);
/// The same as one JSON object with the key "branch_records".
nlohmann::ordered_json branchOverviewToJson(rowvault1::IResult& result);

} // namespace samplefold::report
