#pragma once

#include "report/sql_rows.h"

#include <iostream>

namespace samplefold::cli {

/// Writes a report for programs to standard output.
inline void writeJson(const nlohmann::ordered_json& json)
{
    std::cout << report::jsonText(json, 2) << '\n';
}

} // namespace samplefold::cli
