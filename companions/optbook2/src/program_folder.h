#pragma once

#include <string>

namespace optbook2 {

/// Folder of the running program's file, without a separator at its end; empty when not known.
std::string programFolder();

/// The same of the file of this library, with all links followed.
std::string libraryFolder();

} // namespace optbook2
