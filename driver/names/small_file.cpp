#include "names/small_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace samplefold::names {
namespace {

class Descriptor {
public:
    explicit Descriptor(const std::string& path)
        : m_number(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    {
    }
    ~Descriptor()
    {
        if (m_number >= 0) close(m_number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return m_number; }

private:
    int m_number;
};

std::nullopt_t failed(std::string& fault, int error)
{
    fault = std::generic_category().message(error);
    return std::nullopt;
}

} // namespace

std::optional<std::string> readSmallFile(const std::string& path, std::size_t mostBytes,
                                         std::string& fault)
{
    const Descriptor file(path);
    struct stat status {};
    if (file.number() < 0 || fstat(file.number(), &status) != 0) return failed(fault, errno);
    if (!S_ISREG(status.st_mode)) {
        fault = "is no regular file";
        return std::nullopt;
    }
    std::string content;
    std::array<char, 65536> block;
    for (;;) {
        const ssize_t got = read(file.number(), block.data(), block.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return failed(fault, errno);
        if (got == 0) return content;
        if (content.size() + static_cast<std::size_t>(got) > mostBytes) {
            fault = "is larger than " + std::to_string(mostBytes >> 20) + " MiB";
            return std::nullopt;
        }
        content.append(block.data(), static_cast<std::size_t>(got));
    }
}

} // namespace samplefold::names
