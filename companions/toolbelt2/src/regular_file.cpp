#include <toolbelt2/regular_file.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace toolbelt2 {
namespace {

constexpr mode_t g_permissions = 07777;
constexpr int g_flags = O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;

} // namespace

regular_file_t::regular_file_t(const std::string& path)
{
    // The kernel would take another name, the one up to the null character.
    if (path.find('\0') != std::string::npos) {
        m_error = EINVAL;
        return;
    }
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) {
        m_error = errno;
        return;
    }
    if (!S_ISREG(status.st_mode)) return;
    m_descriptor = ::open(path.c_str(), g_flags);
    if (m_descriptor < 0 || ::fstat(m_descriptor, &status) != 0) {
        m_error = errno;
    } else if (S_ISREG(status.st_mode)) {
        m_size = static_cast<std::uint64_t>(status.st_size);
        m_mode = status.st_mode & g_permissions;
        return;
    }
    if (m_descriptor >= 0) ::close(m_descriptor);
    m_descriptor = -1;
}

regular_file_t::~regular_file_t()
{
    if (m_descriptor >= 0) ::close(m_descriptor);
}

} // namespace toolbelt2
