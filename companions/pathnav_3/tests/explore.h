#pragma once

#include <pathnav_3/basic_block_navigator.h>

#include <cstdint>
#include <span>

namespace pathnav_test {

/// Goes through the code of a source as a caller might who trusts nothing: to `places`, along what
/// follows from there, and block by block up to `steps` blocks. Ends the program where an answer
/// breaks a rule that holds for any code. How many blocks the walk saw.
std::uint64_t explore(const pathnav_3::ObjectPtr<pathnav_3::IDataSource>& source,
                      std::span<const std::uint64_t> places, std::uint64_t steps);

} // namespace pathnav_test
