#pragma once

#include "report/sql_rows.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace samplefold::report {

/// A stretch of ticks, both included, in which the CPU of a thread reported one class.
struct CoreClassBand {
    std::int64_t thread;
    std::uint64_t start;
    std::uint64_t end;
    std::string_view name; ///< of the class; lives as long as the visit
};

/// Calls `visit(band)` with all bands of threads; those of the idle task, which belong to no
/// thread, are left out. A class has many rows: its name tells it. Throws rowvault1::StoreError.
template <class Visit>
void visitCoreClassBands(rowvault1::IResult& result, Visit&& visit)
{
    visitRows(result,
              "SELECT b.owner, b.start_tsc, b.end_tsc, coalesce(c.name, '[unknown]') "
              "FROM hw_feedback_data b LEFT JOIN dd_hw_feedback f ON f.id = b.attribute "
              "LEFT JOIN dd_hw_feedback_coretier_class c ON c.id = f.class "
              "WHERE b.owner IS NOT NULL",
              [&](const auto& row) {
                  const std::uint64_t start = row[1].integer_bits();
                  visit(CoreClassBand{rowKey(row[0]), start, std::max(start, row[2].integer_bits()),
                                      row[3].as_text()});
              });
}

} // namespace samplefold::report
