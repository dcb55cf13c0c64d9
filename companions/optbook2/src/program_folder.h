#pragma once

#include <string>

namespace optbook2 {

/// Folder of the running program's file, without a separator at its end; empty when not known.
std::string programFolder();

} // namespace optbook2
