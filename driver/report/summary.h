#pragma once

#include <rowvault1/result.h>

#include <nlohmann/json.hpp>

#include <ostream>

namespace samplefold::report {

/// What a result holds, where it comes from and how complete it is, with its quality counts. Throws
/// rowvault1::StoreError.
void writeSummary(rowvault1::IResult& result, std::ostream& out);
/// The same as an object with the keys "summary" and "quality".
nlohmann::ordered_json summaryToJson(rowvault1::IResult& result);

} // namespace samplefold::report
