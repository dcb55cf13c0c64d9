#include "report/archive_copy.h"

#include "report/plain_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

namespace samplefold::report {
namespace {

constexpr std::size_t g_blockBytes = std::size_t{1} << 20;

/// A new file under a name of its own, removed unless it is renamed.
class NewFile {
public:
    explicit NewFile(const std::string& folder) : m_path(folder + "/.copy-XXXXXX")
    {
        m_fd = ::mkostemp(m_path.data(), O_CLOEXEC);
        if (m_fd < 0) fail();
    }
    ~NewFile()
    {
        close();
        if (!m_isRenamed && m_wasMade) ::unlink(m_path.c_str());
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    const std::string& path() const { return m_path; }
    const std::string& problem() const { return m_problem; }

    void write(std::span<const char> bytes)
    {
        while (!bytes.empty() && m_problem.empty()) {
            const ssize_t put = ::write(m_fd, bytes.data(), bytes.size());
            if (put < 0 && errno == EINTR) continue;
            if (put < 0) {
                fail();
                return;
            }
            bytes = bytes.subspan(static_cast<std::size_t>(put));
        }
    }
    /// Ends the writing. The owner can always read it, whatever the mode says.
    void finish(mode_t mode)
    {
        if (m_problem.empty() && ::fchmod(m_fd, (mode & 0777U) | S_IRUSR) != 0) fail();
        close();
    }
    /// Where the file system has no way to rename without replacing, a file that comes in between
    /// is replaced.
    void renameTo(const std::string& path)
    {
        int failed =
            ::renameat2(AT_FDCWD, m_path.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE);
        if (failed != 0 && (errno == EINVAL || errno == ENOSYS))
            failed = std::rename(m_path.c_str(), path.c_str());
        if (failed != 0) fail();
        m_isRenamed = failed == 0;
    }

private:
    void close()
    {
        if (m_fd < 0) return;
        m_wasMade = true;
        if (::close(std::exchange(m_fd, -1)) != 0 && m_problem.empty()) fail();
    }
    void fail()
    {
        m_problem = "it cannot be written to the archive: " + std::string(std::strerror(errno));
    }

    std::string m_path;
    int m_fd = -1;
    bool m_wasMade = false;
    bool m_isRenamed = false;
    std::string m_problem;
};

std::uint64_t copyBytes(PlainFile& source, NewFile& target)
{
    std::vector<char> block(g_blockBytes);
    std::uint64_t bytes = 0;
    while (target.problem().empty()) {
        const std::size_t got = source.read(block);
        if (got == 0) break;
        target.write(std::span(block).first(got));
        bytes += got;
    }
    target.finish(source.mode());
    return bytes;
}

} // namespace

CopyOutcome copyFile(const std::string& from, const std::string& to,
                     const std::function<std::string(const std::string& path)>& problemOf)
{
    PlainFile source(from);
    if (!source.problem().empty()) return {0, source.isMissing(), source.problem()};
    const std::string folder = std::filesystem::path(to).parent_path().native();
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) return {0, false, "the folder " + folder + " cannot be made: " + error.message()};
    NewFile target(folder);
    const std::uint64_t bytes = target.problem().empty() ? copyBytes(source, target) : 0;
    if (!target.problem().empty()) return {0, false, target.problem()};
    if (!source.problem().empty()) return {0, false, source.problem()};
    if (const std::string problem = problemOf(target.path()); !problem.empty())
        return {0, false, problem};
    target.renameTo(to);
    if (!target.problem().empty()) return {0, false, target.problem()};
    return {bytes, false, {}};
}

} // namespace samplefold::report
