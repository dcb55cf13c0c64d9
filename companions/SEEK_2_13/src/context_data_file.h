#pragma once

#include <SEEK_2_13/resolution_context.h>

#include <string>

namespace SEEK_2_13 {

/// Reads what was recorded in a directory; leaves `data` alone if nothing was. False, with a line
/// that names the file, when it cannot be read.
bool loadData(const std::string& directory, context_data_t& data, std::string& fault);

/// Writes tidy data to a directory, in one step: who reads meanwhile finds the old or the new.
/// False, with a line that names the file.
bool saveData(const std::string& directory, const context_data_t& data, std::string& fault);

} // namespace SEEK_2_13
