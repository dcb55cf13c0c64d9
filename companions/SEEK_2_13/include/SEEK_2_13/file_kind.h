#pragma once

#include <cstdint>

namespace SEEK_2_13 {

/// What a file is looked for as.
using file_kind_t = std::uint32_t;

inline constexpr file_kind_t binaryFileKind = 1;
inline constexpr file_kind_t symbolFileKind = 2;
inline constexpr file_kind_t sourceFileKind = 3;

} // namespace SEEK_2_13
