#pragma once

#include <SEEK_2_13/resolution_context.h>

#include <string>
#include <string_view>

namespace SEEK_2_13 {

/// Brings data into the form in which it is kept: ids in lower case, folders absolute. False, with
/// the cause, when it makes no sense.
bool tidy(context_data_t& data, std::string& fault);

/// The data as JSON text. Paths that are no UTF-8 are kept in hexadecimal.
std::string textOfData(const context_data_t& data);

/// Reads such a text, which anybody may have written. False, with the cause, when it is damaged or
/// makes no sense.
bool readData(std::string_view text, context_data_t& data, std::string& fault);

} // namespace SEEK_2_13
