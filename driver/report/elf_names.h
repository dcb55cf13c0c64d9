#pragma once

#include <string>

namespace samplefold::report {

/// What a binary says of itself.
struct ElfNames {
    bool isElf = false;
    std::string buildId;   ///< lower-case hexadecimal; empty when it has none
    std::string debugLink; ///< name of its symbol file; empty when it tells none
};

/// Reads the names of the file at `path`, which may be missing, damaged or no binary. Any thread.
ElfNames elfNames(const std::string& path);

/// Whether `found`, read from a file, is the build id `recorded`, which recorders may have padded
/// with zeros to 20 bytes.
bool buildIdFits(const std::string& recorded, const std::string& found);

} // namespace samplefold::report
