#include "perfdata/input_bytes.h"

#include "perfdata/recording.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace samplefold::perfdata {

namespace {

constexpr std::size_t spoolBufferBytes = std::size_t{1} << 20;

std::string reason(int error)
{
    return std::generic_category().message(error);
}

/// Closes a descriptor it owns; standard input is only borrowed.
class Descriptor {
public:
    Descriptor(int descriptor, bool owned) : m_descriptor(descriptor), m_owned(owned) {}
    ~Descriptor()
    {
        if (m_owned && m_descriptor >= 0) ::close(m_descriptor);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int get() const { return m_descriptor; }

private:
    int m_descriptor;
    bool m_owned;
};

int openForReading(const std::string& path)
{
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        throw ReadError(path + ": cannot be opened: " + reason(errno) +
                        "; check the path and its permissions");
    return descriptor;
}

InputBytes spoolAll(int descriptor, const std::string& name, const OpenOptions& options)
{
    Spool spool(options.spoolFolder, name);
    const auto buffer = std::make_unique<std::byte[]>(spoolBufferBytes);
    for (;;) {
        const ssize_t got = ::read(descriptor, buffer.get(), spoolBufferBytes);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0)
            throw ReadError(name + ": byte " + std::to_string(spool.size()) +
                            ": cannot be read: " + reason(errno) + "; check what writes to it");
        if (got == 0) return spool.finish();
        spool.write({buffer.get(), static_cast<std::size_t>(got)});
        if (options.progress && !options.progress(spool.size(), 0))
            throw ReadError(name + ": reading was stopped as asked");
    }
}

bool startsAtFront(int descriptor)
{
    return ::lseek(descriptor, 0, SEEK_CUR) == 0;
}

InputBytes openDescriptor(int descriptor, const std::string& name, const OpenOptions& options)
{
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0)
        throw ReadError(name + ": cannot be examined: " + reason(errno) + "; check what it is");
    if (S_ISDIR(status.st_mode))
        throw ReadError(name + ": is a directory, not a perf.data file; name the file in it");
    if (S_ISREG(status.st_mode) && status.st_size > 0 && startsAtFront(descriptor)) {
        try {
            return InputBytes::map(descriptor, static_cast<std::uint64_t>(status.st_size));
        } catch (const std::system_error&) {
            // A file system without mappings: read it like a pipe.
        }
    }
    return spoolAll(descriptor, name, options);
}

std::string spoolFolderOf(const std::string& wanted)
{
    if (!wanted.empty()) return wanted;
    const char* fromEnvironment = std::getenv("TMPDIR");
    return fromEnvironment != nullptr && *fromEnvironment != '\0' ? fromEnvironment : "/tmp";
}

int makeUnlinkedFile(const std::string& folder)
{
    const int direct = ::open(folder.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (direct >= 0) return direct;
    std::string pattern = folder + "/recording-XXXXXX";
    const int named = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (named >= 0) ::unlink(pattern.c_str());
    return named;
}

} // namespace

InputBytes::InputBytes(InputBytes&& other) noexcept
    : m_bytes(std::exchange(other.m_bytes, {})), m_mapped(std::exchange(other.m_mapped, false))
{
}

InputBytes& InputBytes::operator=(InputBytes&& other) noexcept
{
    std::swap(m_bytes, other.m_bytes);
    std::swap(m_mapped, other.m_mapped);
    return *this;
}

InputBytes::~InputBytes()
{
    if (m_mapped) ::munmap(const_cast<std::byte*>(m_bytes.data()), m_bytes.size());
}

InputBytes InputBytes::borrow(std::span<const std::byte> bytes) noexcept
{
    InputBytes input;
    input.m_bytes = bytes;
    return input;
}

InputBytes InputBytes::map(int descriptor, std::uint64_t size)
{
    InputBytes input;
    if (size == 0) return input;
    void* address = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (address == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
    ::madvise(address, size, MADV_SEQUENTIAL);
    input.m_bytes = {static_cast<const std::byte*>(address), static_cast<std::size_t>(size)};
    input.m_mapped = true;
    return input;
}

InputBytes InputBytes::open(const std::string& path, const OpenOptions& options)
{
    if (path == "-") return openDescriptor(STDIN_FILENO, "standard input", options);
    const Descriptor descriptor(openForReading(path), true);
    return openDescriptor(descriptor.get(), path, options);
}

void InputBytes::release(std::uint64_t begin, std::uint64_t end) const noexcept
{
    static const auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    const std::uint64_t first = (begin + page - 1) / page * page;
    const std::uint64_t last = std::min<std::uint64_t>(end, m_bytes.size()) / page * page;
    if (m_mapped && first < last)
        ::madvise(const_cast<std::byte*>(m_bytes.data()) + first, last - first, MADV_DONTNEED);
}

Spool::Spool(const std::string& folder, std::string inputName)
    : m_folder(spoolFolderOf(folder)), m_inputName(std::move(inputName)),
      m_descriptor(makeUnlinkedFile(m_folder)),
      m_buffer(std::make_unique<std::byte[]>(spoolBufferBytes))
{
    if (m_descriptor < 0)
        throw ReadError(m_inputName + ": no temporary file can be made in " + m_folder + ": " +
                        reason(errno) + "; name a writable folder in TMPDIR");
}

Spool::~Spool()
{
    if (m_descriptor >= 0) ::close(m_descriptor);
}

void Spool::write(std::span<const std::byte> bytes)
{
    if (bytes.empty()) return;
    m_size += bytes.size();
    if (m_buffered + bytes.size() > spoolBufferBytes) flush();
    if (bytes.size() >= spoolBufferBytes) {
        writeThrough(bytes);
        return;
    }
    std::memcpy(m_buffer.get() + m_buffered, bytes.data(), bytes.size());
    m_buffered += bytes.size();
}

void Spool::flush()
{
    writeThrough({m_buffer.get(), m_buffered});
    m_buffered = 0;
}

void Spool::writeThrough(std::span<const std::byte> bytes)
{
    while (!bytes.empty()) {
        const ssize_t put = ::write(m_descriptor, bytes.data(), bytes.size());
        if (put < 0 && errno == EINTR) continue;
        if (put < 0)
            throw ReadError(m_inputName + ": the temporary copy in " + m_folder +
                            " cannot be written: " + reason(errno) +
                            "; name a folder with more room in TMPDIR");
        bytes = bytes.subspan(static_cast<std::size_t>(put));
    }
}

InputBytes Spool::finish()
{
    flush();
    try {
        return InputBytes::map(m_descriptor, m_size);
    } catch (const std::system_error& error) {
        throw ReadError(m_inputName + ": the temporary copy in " + m_folder +
                        " cannot be mapped: " + error.code().message() +
                        "; name another folder in TMPDIR");
    }
}

} // namespace samplefold::perfdata
