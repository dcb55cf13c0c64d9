#include "regular_file.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace SEEK_2_13 {
namespace {

std::string systemText()
{
    return std::strerror(errno);
}

refusal_t refusalOfError(std::string& detail)
{
    if (errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG) return refusal_t::notFound;
    detail = systemText();
    return refusal_t::unreadable;
}

} // namespace

RegularFile::~RegularFile()
{
    if (m_fd >= 0) ::close(m_fd);
}

refusal_t RegularFile::open(const std::string& path, std::string& detail)
{
    // Looked at before it is opened, since opening a device may already do something, and once more
    // behind that, since the name may have got another file meanwhile.
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) return refusalOfError(detail);
    if (!S_ISREG(status.st_mode)) return refusal_t::notRegular;
    m_fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (m_fd < 0 || ::fstat(m_fd, &status) != 0) return refusalOfError(detail);
    if (!S_ISREG(status.st_mode)) return refusal_t::notRegular;
    m_size = static_cast<std::uint64_t>(status.st_size);
    return refusal_t::none;
}

bool RegularFile::isOfProc() const noexcept
{
    struct statfs system = {};
    return ::fstatfs(m_fd, &system) == 0 && system.f_type == PROC_SUPER_MAGIC;
}

ssize_t RegularFile::readAt(std::span<std::byte> bytes, std::uint64_t offset) const noexcept
{
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t got = ::pread(m_fd, bytes.data() + filled, bytes.size() - filled,
                                    static_cast<off_t>(offset + filled));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        if (got == 0) break;
        filled += static_cast<std::size_t>(got);
    }
    return static_cast<ssize_t>(filled);
}

bool RegularFile::prepareReading(std::string& detail) const
{
    if (isOfProc()) {
        detail = "a file of /proc has no checksum";
        return false;
    }
    // Advice only: a file system that knows none reads all the same.
    ::posix_fadvise(m_fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    return true;
}

bool RegularFile::nextBlock(std::span<std::byte> block, std::uint64_t offset, std::size_t& got,
                            std::string& detail) const
{
    // Checked as it goes, since a file may grow while it is read.
    if (m_size > g_maxChecksumBytes || offset > g_maxChecksumBytes) {
        detail = "larger than the " + std::to_string(g_maxChecksumBytes >> 30) +
                 " GiB that are read for a checksum";
        return false;
    }
    const ssize_t count = readAt(block, offset);
    if (count < 0) {
        detail = systemText();
        return false;
    }
    got = static_cast<std::size_t>(count);
    return true;
}

bool isSameFile(const std::string& a, const std::string& b)
{
    struct stat first = {};
    struct stat second = {};
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

} // namespace SEEK_2_13
