#include "load/input_checksum.h"

#include "session/hex_text.h"

#include <xxhash.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <vector>

namespace samplefold::load {
namespace {

constexpr std::size_t g_blockBytes = std::size_t{1} << 20;

/// Opened without waiting: a named pipe has no writer any more when its bytes were read.
class File {
public:
    explicit File(const std::string& path)
        : m_descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    {
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File()
    {
        if (m_descriptor >= 0) ::close(m_descriptor);
    }

    bool isRegular() const
    {
        struct stat status {};
        return m_descriptor >= 0 && ::fstat(m_descriptor, &status) == 0 && S_ISREG(status.st_mode);
    }
    ssize_t read(std::vector<char>& block) const
    {
        return ::read(m_descriptor, block.data(), block.size());
    }

private:
    int m_descriptor;
};

} // namespace

std::string inputChecksum(const std::string& path)
{
    const File file(path);
    if (path == "-" || !file.isRegular()) return {};
    const std::unique_ptr<XXH3_state_t, decltype(&XXH3_freeState)> state(XXH3_createState(),
                                                                         &XXH3_freeState);
    XXH3_128bits_reset(state.get());
    std::vector<char> block(g_blockBytes);
    for (;;) {
        const ssize_t got = file.read(block);
        if (got < 0) return {};
        if (got == 0) break;
        XXH3_128bits_update(state.get(), block.data(), static_cast<std::size_t>(got));
    }
    XXH128_canonical_t digest;
    XXH128_canonicalFromHash(&digest, XXH3_128bits_digest(state.get()));
    return "xxh128:" + session::hexText(digest.digest);
}

} // namespace samplefold::load
