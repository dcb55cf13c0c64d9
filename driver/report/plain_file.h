#pragma once

#include <toolbelt2/regular_file.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <sys/types.h>

namespace samplefold::report {

/// A regular file, open for reading from its start. Paths come out of results that anybody may have
/// written: nothing here waits for a pipe or a device. One thread.
class PlainFile {
public:
    explicit PlainFile(const std::string& path);

    /// Why it cannot be opened or read, without its path; empty while all is well.
    const std::string& problem() const { return m_problem; }
    /// There is no file of that name, as opposed to one that cannot be read.
    bool isMissing() const { return m_isMissing; }
    std::uint64_t size() const { return m_file.size(); }
    mode_t mode() const { return m_file.mode(); }

    /// The next bytes, as many as there are room for and the file had when it was opened. 0 at the
    /// end, and with a problem set when it cannot be read.
    std::size_t read(std::span<char> bytes);

private:
    tb2::regular_file_t m_file;
    std::uint64_t m_left;
    bool m_isMissing = false;
    std::string m_problem;
};

/// Whether two regular files have the same bytes; false when one cannot be read.
bool haveSameBytes(const std::string& a, const std::string& b);

} // namespace samplefold::report
