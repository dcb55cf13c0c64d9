#include "report/plain_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

namespace samplefold::report {
namespace {

constexpr std::size_t g_blockBytes = std::size_t{1} << 18;

} // namespace

/// Looked at before it is opened, since opening a device may already do something, and once more
/// behind that, since the name may have got another file meanwhile.
PlainFile::PlainFile(const std::string& path)
{
    if (path.find('\0') != std::string::npos) {
        fail("its name is none of a file");
        return;
    }
    if (!look(path)) return;
    m_fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (m_fd < 0) {
        fail();
        return;
    }
    look({});
}

PlainFile::~PlainFile()
{
    if (m_fd >= 0) ::close(m_fd);
}

bool PlainFile::fail(const char* what)
{
    m_isMissing = what == nullptr && (errno == ENOENT || errno == ENOTDIR);
    m_problem = what != nullptr ? what : std::strerror(errno);
    m_left = 0;
    return false;
}

/// At the open file for an empty path.
bool PlainFile::look(const std::string& path)
{
    struct stat status = {};
    const int failed =
        path.empty() && m_fd >= 0 ? ::fstat(m_fd, &status) : ::stat(path.c_str(), &status);
    if (failed != 0) return fail();
    if (!S_ISREG(status.st_mode)) return fail("it is no regular file");
    m_size = m_left = static_cast<std::uint64_t>(status.st_size);
    m_mode = status.st_mode & 07777U;
    return true;
}

std::size_t PlainFile::read(std::span<char> bytes)
{
    const std::size_t wanted = std::min<std::uint64_t>(bytes.size(), m_left);
    std::size_t filled = 0;
    while (filled < wanted) {
        const ssize_t got = ::read(m_fd, bytes.data() + filled, wanted - filled);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            fail();
            return 0;
        }
        if (got == 0) break;
        filled += static_cast<std::size_t>(got);
    }
    m_left = filled == wanted ? m_left - filled : 0;
    return filled;
}

bool haveSameBytes(const std::string& a, const std::string& b)
{
    PlainFile first(a);
    PlainFile second(b);
    if (!first.problem().empty() || !second.problem().empty() || first.size() != second.size())
        return false;
    std::vector<char> left(g_blockBytes);
    std::vector<char> right(g_blockBytes);
    for (;;) {
        const std::size_t got = first.read(left);
        if (second.read(right) != got || !first.problem().empty() || !second.problem().empty())
            return false;
        if (got == 0) return true;
        if (std::memcmp(left.data(), right.data(), got) != 0) return false;
    }
}

} // namespace samplefold::report
