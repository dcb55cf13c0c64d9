#pragma once

#include "connection.h"

#include <string>
#include <string_view>

namespace rowvault1 {

/// One line that names the file, what went wrong and what to do: "cannot <action> '<path>':
/// <reason>; <remedy>".
std::string failureText(std::string_view action, std::string_view path, std::string_view reason,
                        std::string_view remedy);
/// The same, with reason and remedy from SQLite's code.
std::string failureText(std::string_view action, std::string_view path, const SqlError& error);

} // namespace rowvault1
