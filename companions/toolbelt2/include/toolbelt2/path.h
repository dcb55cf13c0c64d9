#pragma once

#include <toolbelt2/export.h>

#include <string>
#include <string_view>

namespace toolbelt2 {

/// A file path as plain bytes, with the few questions that the family asks of one. None of them
/// throws: an error of the file system counts as "no". One object belongs to one thread.
class TOOLBELT2_API path_t {
public:
    path_t() = default;
    explicit path_t(std::string_view text) : m_path(text) {}

    /// Adds one element behind a separator. False, with nothing changed, when `element` is empty or
    /// absolute.
    bool append(std::string_view element);
    /// Last element of the path; empty for a path that ends in a separator.
    std::string leaf() const;

    const std::string& as_string() const noexcept { return m_path; }
    bool exists() const noexcept;
    bool is_directory() const noexcept;

    static bool exists(const std::string& path) noexcept { return path_t(path).exists(); }
    static bool is_directory(const std::string& path) noexcept
    {
        return path_t(path).is_directory();
    }

private:
    std::string m_path;
};

} // namespace toolbelt2
