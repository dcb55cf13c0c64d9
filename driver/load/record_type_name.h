#pragma once

#include <cstdint>
#include <string>

namespace samplefold::load {

/// Name of a record type as the kernel's and the recorder's headers have it, without their prefix
/// ("MMAP2", "FINISHED_ROUND"); "type N" for a number that has none.
std::string recordTypeName(std::uint32_t type);

} // namespace samplefold::load
