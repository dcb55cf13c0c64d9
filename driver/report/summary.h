#pragma once

#include "report/time_range.h"

#include <rowvault1/result.h>

#include <nlohmann/json.hpp>

#include <ostream>

namespace samplefold::report {

/// What a result holds, where it comes from and how complete it is, with its quality counts and,
/// where samples had any, what became of their branch records; where a range is set, which part of
/// it is looked at and how many sample rows lie there. Throws rowvault1::StoreError.
void writeSummary(rowvault1::IResult& result, std::ostream& out, const TickRange& range = {});
/// The same as an object with the keys "summary" and "quality", and where there are any
/// "branch_records", where one is set "range".
nlohmann::ordered_json summaryToJson(rowvault1::IResult& result, const TickRange& range = {});

} // namespace samplefold::report
