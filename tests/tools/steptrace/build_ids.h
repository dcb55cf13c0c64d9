// Build ids of files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace steptrace {

/// The GNU build id of a file; empty when it has none, or is no ELF file that can be read.
std::vector<std::uint8_t> buildIdOf(const std::string& path);

} // namespace steptrace
