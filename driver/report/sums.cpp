#include "report/sums.h"

#include <cstdio>

namespace samplefold::report {

/// Halves are added up apart, and joined by operations that cannot overflow.
std::string sumOf(const std::string& column)
{
    const std::string low = "sum(" + column + " & 4294967295)";
    return "(((sum(" + column + " >> 32) + (" + low + " >> 32)) << 32) | (" + low +
           " & 4294967295))";
}

std::optional<double> percentOf(std::int64_t part, std::int64_t whole)
{
    if (whole == 0) return std::nullopt;
    return 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

std::string percentText(const std::optional<double>& percent)
{
    if (!percent) return "-";
    char text[16];
    std::snprintf(text, sizeof text, "%.2f%%", *percent);
    return text;
}

} // namespace samplefold::report
