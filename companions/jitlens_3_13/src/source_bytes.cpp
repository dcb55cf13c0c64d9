#include "source_bytes.h"

#include "dump_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

namespace jitlens_3_13 {
namespace {

class Descriptor {
public:
    Descriptor() = default;
    ~Descriptor()
    {
        if (m_fd >= 0) ::close(m_fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool open(const std::string& path)
    {
        m_fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
        return m_fd >= 0;
    }
    int get() const noexcept { return m_fd; }

private:
    int m_fd = -1;
};

std::string systemFault(std::string_view what)
{
    const int number = errno;
    return std::string(what) + ": " + std::strerror(number);
}

/// Reads up to `bytes.size()` bytes from the start and cuts `bytes` to what was there. False,
/// with errno, when the file cannot be read.
bool readStart(int fd, std::vector<std::byte>& bytes)
{
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t got =
            ::pread(fd, bytes.data() + filled, bytes.size() - filled, static_cast<off_t>(filled));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return false;
        if (got == 0) break;
        filled += static_cast<std::size_t>(got);
    }
    bytes.resize(filled);
    return true;
}

std::string tooLarge(std::uint64_t limit)
{
    return "the file is larger than the " + std::to_string(limit >> 20) + " MiB that are read";
}

/// Opens the regular file at `path` and tells its size. Returns why it cannot, or an empty text.
std::string open(const std::string& path, Descriptor& file, std::uint64_t& size)
{
    // Looked at before it is opened, since opening a device may already do something, and once more
    // behind that, since the name may have got another file meanwhile.
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) return systemFault("cannot be opened");
    if (!S_ISREG(status.st_mode)) return "not a regular file";
    if (!file.open(path)) return systemFault("cannot be opened");
    if (::fstat(file.get(), &status) != 0) return systemFault("cannot be read");
    if (!S_ISREG(status.st_mode)) return "not a regular file";
    size = static_cast<std::uint64_t>(status.st_size);
    return {};
}

} // namespace

source_bytes_t readSource(const std::string& path)
{
    source_bytes_t source;
    Descriptor file;
    std::uint64_t size = 0;
    source.fault = open(path, file, size);
    if (!source.fault.empty()) return source;
    std::vector<std::byte> head(g_dumpMagicBytes);
    if (!readStart(file.get(), head)) return {{}, false, systemFault("cannot be read")};
    // A dump that was never written is told as one, and is no map without entries.
    source.isDump = looksLikeDump(head) || (size < g_dumpMagicBytes && path.ends_with(".dump"));
    const std::uint64_t limit = source.isDump ? g_maxDumpBytes : g_maxMapBytes;
    if (size > limit) return {{}, source.isDump, tooLarge(limit)};
    source.bytes.resize(size);
    if (!readStart(file.get(), source.bytes)) source.fault = systemFault("cannot be read");
    return source;
}

std::vector<std::byte> readHead(const std::string& path, std::size_t count)
{
    Descriptor file;
    std::uint64_t size = 0;
    std::vector<std::byte> head(count);
    if (!open(path, file, size).empty() || !readStart(file.get(), head)) return {};
    return head;
}

bool isRegularFile(const std::string& path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool isSameFile(const std::string& a, const std::string& b)
{
    struct stat first = {};
    struct stat second = {};
    return a == b || (::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
                      first.st_dev == second.st_dev && first.st_ino == second.st_ino);
}

} // namespace jitlens_3_13
