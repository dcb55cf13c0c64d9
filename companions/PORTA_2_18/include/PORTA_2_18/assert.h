#pragma once

#include <PORTA_2_18/export.h>

#include <string_view>

// The assertion entry of the family. An assertion tells what cannot be: it reports and returns, and
// the code behind it goes on with the bad value, unless the handler in force stops the process.
namespace PORTA_2_18::debug {

/// One fired assertion. The texts live as long as the program.
struct assertion_t {
    std::string_view expression;
    std::string_view file;
    int line = 0;
    std::string_view signature;
};

/// Receives every fired assertion. Called on the thread that fired it; it may throw or end the
/// process.
using assertion_handler_t = void (*)(const assertion_t&);

/// Puts `handler` in force for the whole process and returns the former one; null brings back the
/// handler of the start, which writes one line to standard error. Safe to call from any thread.
PORTA_2_18_API assertion_handler_t setAssertionHandler(assertion_handler_t handler) noexcept;

namespace _private {

/// Reports one fired assertion to the handler in force. `expression`, `file` and `signature` are
/// NUL-terminated and not owned. Returns when the handler returns. Any thread.
PORTA_2_18_API void ____________________ASSERT____________________(const char* expression,
                                                                   const char* file, int line,
                                                                   const char* signature);

} // namespace _private
} // namespace PORTA_2_18::debug

/// Fires with the given text when `condition` does not hold, and goes on. Yields nothing.
#define PORTA_ASSERT_TEXT(condition, text)                                                         \
    ((condition) ? static_cast<void>(0)                                                            \
                 : ::PORTA_2_18::debug::_private::____________________ASSERT____________________(  \
                       text, __FILE__, __LINE__, __PRETTY_FUNCTION__))

/// The same with the condition's own text.
#define PORTA_ASSERT(condition) PORTA_ASSERT_TEXT(condition, #condition)
