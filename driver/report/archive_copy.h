#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace samplefold::report {

/// Result of copying a file.
struct CopyOutcome {
    std::uint64_t bytes = 0;
    bool isMissing = false; ///< there is no such file
    std::string problem;    ///< one line without the file's path; empty when it was copied
};

/// Copies the regular file `from` to the new file `to`, whose folder is made. The copy has another
/// name in that folder until `problemOf(path)` has said nothing against it. Nothing is left when it
/// fails, folders apart. Never replaces a file.
CopyOutcome copyFile(const std::string& from, const std::string& to,
                     const std::function<std::string(const std::string& path)>& problemOf);

} // namespace samplefold::report
