#include <PORTA_2_18/assert.h>

#include <atomic>
#include <cstdio>

namespace PORTA_2_18::debug {
namespace {

void writeToStandardError(const assertion_t& assertion)
{
    std::fprintf(stderr, "assertion failed: %.*s, at file: %.*s:%d, in %.*s\n",
                 static_cast<int>(assertion.expression.size()), assertion.expression.data(),
                 static_cast<int>(assertion.file.size()), assertion.file.data(), assertion.line,
                 static_cast<int>(assertion.signature.size()), assertion.signature.data());
}

std::atomic<assertion_handler_t> g_handler{&writeToStandardError};

} // namespace

assertion_handler_t setAssertionHandler(assertion_handler_t handler) noexcept
{
    return g_handler.exchange(handler != nullptr ? handler : &writeToStandardError);
}

namespace _private {

void ____________________ASSERT____________________(const char* expression, const char* file,
                                                    int line, const char* signature)
{
    g_handler.load()(assertion_t{expression, file, line, signature});
}

} // namespace _private
} // namespace PORTA_2_18::debug
