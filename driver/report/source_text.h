#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace samplefold::report {

/// Larger files are no source files for a report.
inline constexpr std::uint64_t maxSourceBytes = std::uint64_t{64} << 20;

/// Lines of a source file.
struct SourceText {
    std::string file;                          ///< that was read; empty when none was
    std::map<std::int64_t, std::string> lines; ///< by number, without the line feed
};

/// Finds the text of source files. Only regular files of at most maxSourceBytes are read. One
/// thread.
class SourceReader {
public:
    /// `directories` of the user, and the archive of the result.
    SourceReader(std::vector<std::string> directories, std::string archive)
        : m_directories(std::move(directories)), m_archive(std::move(archive))
    {
    }

    /// The wanted lines of the first file that can be read: the recorded path itself if it is
    /// absolute; each directory with the path's elements behind it, all of them, then without the
    /// first, and so on to the name alone; the archive. Of a line at most 1000 bytes.
    SourceText read(const std::string& path, const std::set<std::int64_t>& wanted) const;

private:
    std::vector<std::string> candidates(const std::string& path) const;

    std::vector<std::string> m_directories;
    std::string m_archive;
};

} // namespace samplefold::report
