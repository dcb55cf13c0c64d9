#pragma once

#include <string_view>

#define LOGBRIDGE_1_API __attribute__((visibility("default")))

// Set up of the log4cplus logger of a component. Levels are the log4cplus numbers: 10000 debug,
// 20000 info, 30000 warn, 40000 error.
namespace logbridge_1::log {

/// Makes sure that log4cplus runs and that the logger of that name is set up: level error, no
/// output of its own until somebody asks for one. Calls after the first for a name change nothing.
/// Any thread.
LOGBRIDGE_1_API void configureComponentLogger(std::string_view component);

/// Sends what the component logs at `level` and above to the end of a file, one line each with time
/// and level. False when the file cannot be opened, with nothing changed. A second call replaces
/// the first.
LOGBRIDGE_1_API bool logToFile(std::string_view component, std::string_view path, int level);

} // namespace logbridge_1::log
