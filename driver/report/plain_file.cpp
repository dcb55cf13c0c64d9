#include "report/plain_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

namespace samplefold::report {
namespace {

constexpr std::size_t g_blockBytes = std::size_t{1} << 18;

} // namespace

PlainFile::PlainFile(const std::string& path) : m_file(path), m_left(m_file.size())
{
    if (path.find('\0') != std::string::npos) {
        m_problem = "its name is none of a file";
    } else if (!m_file.isOpen()) {
        m_isMissing = m_file.error() == ENOENT || m_file.error() == ENOTDIR;
        m_problem = m_file.error() != 0 ? std::strerror(m_file.error()) : "it is no regular file";
    }
}

std::size_t PlainFile::read(std::span<char> bytes)
{
    const std::size_t wanted = std::min<std::uint64_t>(bytes.size(), m_left);
    std::size_t filled = 0;
    while (filled < wanted) {
        const ssize_t got = ::read(m_file.descriptor(), bytes.data() + filled, wanted - filled);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            m_problem = std::strerror(errno);
            m_left = 0;
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
