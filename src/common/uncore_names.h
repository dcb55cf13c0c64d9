#pragma once

#include <boost/regex.hpp>

#include <string_view>

// Names of packages and uncore events by their patterns. A name that cannot match is told by its
// end before a pattern is tried, so that a pattern's time goes with the length of the name and no
// name reaches its bounds: what is in front of a right end either matches at the first way to split
// it, or has no more than three underscores to split at.
namespace samplefold_1::uncore_names {

/// Matches a whole event name, which every pattern for them wants to end in "[UNIT3]". `groups`
/// points into `name`. Never throws but for want of memory.
bool matchEvent(std::string_view name, const boost::regex& pattern, boost::cmatch& groups);

/// The same for a package name, which ends in an underscore and a number.
bool matchPackage(std::string_view name, const boost::regex& pattern, boost::cmatch& groups);

std::string_view textOf(const boost::csub_match& group);

/// Reads decimal digits into `out` as a stream would: no digits leave it alone, and a number too
/// large gives the largest there is; both return false.
bool readNumber(std::string_view digits, int& out);

/// The same for hexadecimal digits.
bool readHexNumber(std::string_view digits, unsigned int& out);

/// The same for a number with or without a decimal point; one too small for a double gives 0.
bool readDecimal(std::string_view digits, double& out);

} // namespace samplefold_1::uncore_names
