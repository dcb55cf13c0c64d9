#pragma once

#include "hwsamp/platform.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

// The text file of other processors: a line "SIGNATURE PMU CPU NAME" each, divided by blanks or
// tabs; the signature in hexadecimal with 0x before it, the PMU of letters, digits and underscores.
// Blank lines and those whose first character is '#' count for nothing.
namespace samplefold::hwsamp {

/// Told of what is wrong, one line each, without a newline at its end.
using complain_t = std::function<void(const std::string&)>;

/// The processors of a text, numbered from 1 in their order. A bad line is left out and complained
/// of with `path` and its number; after a hundred complaints the rest is left out.
std::vector<Platform> parsePlatforms(std::string_view content, const std::string& path,
                                     const complain_t& complain);

/// The same of a file. One that is missing holds none; one that cannot be read is complained of and
/// holds none.
std::vector<Platform> readPlatforms(const std::string& path, const complain_t& complain);

} // namespace samplefold::hwsamp
