#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace SEEK_2_13 {

/// A build id as recorded, in lower case, if it makes sense: 1 to 64 bytes in hexadecimal, not all
/// of them zero.
std::optional<std::string> checkedBuildId(std::string_view text);

/// The build id in the forms that a file may have it in: as recorded, and when it is of 20 bytes
/// and ends in zeros that may be padding, without them.
std::vector<std::string> buildIdForms(const std::string& recorded);

/// Whether a file with the build id `found` is the one recorded.
bool buildIdFits(const std::string& recorded, const std::string& found);

/// "ab/cdef...", the path by which files are kept under their build id.
std::string buildIdPath(const std::string& id);

} // namespace SEEK_2_13
