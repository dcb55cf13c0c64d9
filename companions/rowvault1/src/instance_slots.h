#pragma once

#include <rowvault1/instance_container.h>

#include <cstddef>
#include <cstdint>

// Where the keys, integers, doubles and the timestamp of an instance stand among the table's
// columns.
namespace rowvault1 {

inline constexpr std::size_t firstKeySlot = 0;
inline constexpr std::size_t firstIntegerSlot = firstKeySlot + instanceKeyColumns;
inline constexpr std::size_t firstDoubleSlot = firstIntegerSlot + instanceIntegerColumns;
inline constexpr std::size_t timestampSlot = firstDoubleSlot + instanceDoubleColumns;

/// First time that SQLite's signed order puts before 0.
inline constexpr std::uint64_t firstUpperTime = std::uint64_t{1} << 63;

} // namespace rowvault1
