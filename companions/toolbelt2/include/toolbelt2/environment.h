#pragma once

#include <toolbelt2/export.h>

#include <string>

namespace toolbelt2 {

/// Value of the environment variable `name` (NUL-terminated), the empty text when it is unset.
/// Reads the process environment: not to be called while another thread changes it.
TOOLBELT2_API std::string get_environ_value(const char* name);

} // namespace toolbelt2
