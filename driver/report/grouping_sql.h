#pragma once

#include "report/profile_report.h"

#include <string>
#include <string_view>

namespace samplefold::report {

/// How a grouping is told in SQL: which group a row `g` of sums over sample_instance belongs to.
struct GroupingSql {
    Grouping by;
    std::string_view name;
    std::string_view keys; ///< columns of sample_instance that tell the group apart
    std::string columns;   ///< what is shown of a group
    std::string joins;     ///< what `columns` needs beside `g`
};

/// In the order of the help text. Live as long as the program. Any thread.
const std::vector<GroupingSql>& groupingSqls();
const GroupingSql& groupingSql(Grouping by);

/// Joins from a row `g` with a column `sample` to its place in code `l`; from there to the module
/// `m` that the place lies in; to the names `n` of the place, of which it has one row.
extern const std::string_view placeJoins;
extern const std::string_view moduleJoins;
extern const std::string_view nameJoins;

} // namespace samplefold::report
