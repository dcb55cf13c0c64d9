#pragma once

#include <optbook2/export.h>

#include <string>

namespace optbook2 {

/// Folder with the tools that belong to the running program: the value of the environment variable
/// SAMPLEFOLD_TOOL_DIR, or where that is unset or empty the folder of the program's own file,
/// without a separator at its end. Empty when that cannot be found out. Reads the environment: not
/// to be called while another thread changes it.
OPTBOOK2_API std::string getToolDirectory();

} // namespace optbook2
