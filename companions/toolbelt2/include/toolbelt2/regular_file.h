#pragma once

#include <toolbelt2/export.h>

#include <cstdint>
#include <string>
#include <sys/types.h>

namespace toolbelt2 {

/// A regular file, open for reading. Paths come out of files that anybody may have written, so
/// nothing here waits for a pipe, or opens a device, which may already do something. One thread.
class TOOLBELT2_API regular_file_t {
public:
    /// Looks before it opens, and once more behind that, since the name may have got another file
    /// meanwhile.
    explicit regular_file_t(const std::string& path);
    ~regular_file_t();
    regular_file_t(const regular_file_t&) = delete;
    regular_file_t& operator=(const regular_file_t&) = delete;

    bool isOpen() const noexcept { return m_descriptor >= 0; }
    /// The object's own; -1 when it is not open.
    int descriptor() const noexcept { return m_descriptor; }
    /// Why it is not open: a number of errno; 0 for something other than a regular file.
    int error() const noexcept { return m_error; }
    /// Bytes that it had when it was opened. Files of /proc tell 0 whatever they hold.
    std::uint64_t size() const noexcept { return m_size; }
    /// Permissions, as chmod takes them.
    mode_t mode() const noexcept { return m_mode; }

private:
    int m_descriptor = -1;
    int m_error = 0;
    std::uint64_t m_size = 0;
    mode_t m_mode = 0;
};

} // namespace toolbelt2
