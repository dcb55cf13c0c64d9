#pragma once

#include <string>

namespace samplefold::report {

/// Whether the bytes of the regular file at `path` have this MD5 checksum (hexadecimal). Reads all
/// of it; false when it cannot be read. Any thread.
bool hasChecksum(const std::string& path, const std::string& md5);

} // namespace samplefold::report
