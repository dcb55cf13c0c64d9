#pragma once

#include "report/sql_rows.h"

#include <rowvault1/result.h>

#include <nlohmann/json.hpp>

#include <ostream>

namespace samplefold::report {

/// What became of branch records, by the view branch_quality, in the order in which a load counts;
/// no rows where no sample had any. Throws rowvault1::StoreError.
SqlRows readBranchCounts(rowvault1::IResult& result);

/// Adds a column "sample" with the number of a sample of which a row is true, null where there is
/// none or no rows are single samples. Reads all samples once. Throws rowvault1::StoreError.
void addExampleSamples(rowvault1::IResult& result, SqlRows& counts);

/// The rows as a table, each line behind two blanks.
void writeBranchCounts(const SqlRows& counts, std::ostream& out);
/// The rows as an array of objects with the columns' names as keys.
nlohmann::ordered_json branchCountsToJson(const SqlRows& counts);

} // namespace samplefold::report
