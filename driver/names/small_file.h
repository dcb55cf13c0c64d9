#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace samplefold::names {

/// All of a regular file, or of a file of /proc, whose size is not known before. Nothing, with one
/// line in `fault`, when it cannot be read or holds more than `mostBytes`. Never waits for a pipe
/// or a device.
std::optional<std::string> readSmallFile(const std::string& path, std::size_t mostBytes,
                                         std::string& fault);

} // namespace samplefold::names
