#include <toolbelt2/error_code.h>

#include <atomic>

namespace toolbelt2 {
namespace {

std::atomic<error_code_t::raise_handler_t> g_raiseHandler{nullptr};

} // namespace

error_code_t error_code_t::raise(std::int32_t code, std::string_view text, const char* file,
                                 int line)
{
    if (const auto handler = g_raiseHandler.load()) handler(code, text, file, line);
    return error_code_t(code);
}

error_code_t::raise_handler_t error_code_t::setRaiseHandler(raise_handler_t handler) noexcept
{
    return g_raiseHandler.exchange(handler);
}

} // namespace toolbelt2
