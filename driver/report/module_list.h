#pragma once

#include <rowvault1/result.h>

#include <cstdint>
#include <string>
#include <vector>

namespace samplefold::report {

/// A path at which a module's file was looked for.
struct ModuleAttempt {
    std::string purpose; ///< "binary" or "symbols"
    std::string place;
    std::string path;
    std::string refusal; ///< empty for the file that was taken
    std::string detail;
};

/// A module of a result, with what became of the search for its file. Texts that are not known are
/// empty.
struct ModuleInfo {
    std::int64_t key = -1;
    std::int64_t search = -1; ///< row of the last search for its file
    std::string path;         ///< as the recording has it
    std::string name;
    std::string buildId; ///< hexadecimal
    std::string md5;     ///< hexadecimal
    std::string found;
    std::string symbols;
    std::string missing; ///< why names are missing
    bool isFile = false; ///< a mapping of it is one of a file, or a file was looked for
    std::uint64_t sampleRows = 0;
    std::vector<ModuleAttempt> attempts; ///< in the order in which they were made
};

/// All modules, those with most sample rows first and then by path. Of several searches for one
/// module the last counts. Throws rowvault1::StoreError.
std::vector<ModuleInfo> readModules(rowvault1::IResult& result);

} // namespace samplefold::report
