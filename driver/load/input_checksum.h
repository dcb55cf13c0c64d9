#pragma once

#include <string>

namespace samplefold::load {

/// XXH3 with 128 bits over the bytes of a file, as "xxh128:" and 32 hexadecimal digits (`xxhsum
/// -H2` prints the same). Empty for standard input and for a file that cannot be read.
std::string inputChecksum(const std::string& path);

} // namespace samplefold::load
