#pragma once

#include <toolbelt2/export.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace toolbelt2 {

/// Result of an operation that can fail in the ordinary way. 0 is success; every other value is
/// told apart by the operation that gives it. Cheap to copy; no thread rules of its own.
class TOOLBELT2_API error_code_t {
public:
    error_code_t() noexcept = default;
    explicit error_code_t(std::int32_t value) noexcept : m_value(value) {}

    bool succeeded() const noexcept { return m_value == 0; }
    std::int32_t value() const noexcept { return m_value; }

    /// Makes a failure of `code` with its text, and reports it to the handler in force together
    /// with the place. Returns the failure so that a function can end with it.
    static error_code_t raise(std::int32_t code, std::string_view text, const char* file, int line);

    /// Receives what `raise` reports; null (the start) drops it. Set it before threads start.
    using raise_handler_t = void (*)(std::int32_t code, std::string_view text, const char* file,
                                     int line);
    static raise_handler_t setRaiseHandler(raise_handler_t handler) noexcept;

    friend bool operator==(const error_code_t&, const error_code_t&) = default;

private:
    std::int32_t m_value = 0;
};

} // namespace toolbelt2
