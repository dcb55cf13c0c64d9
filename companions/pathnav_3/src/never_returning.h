#pragma once

#include <string_view>

namespace pathnav_3 {

/// Whether a call of the function never comes back, by what is known of functions of C, C++ and
/// Rust libraries. `name` is mangled; a version or "@plt" at its end does not count, nor does what
/// compilers and libraries add for copies and aliases of their own. Any thread.
bool isNeverReturning(std::string_view name);

} // namespace pathnav_3
