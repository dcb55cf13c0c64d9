#include "catalog_file.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>

namespace optbook2 {
namespace {

constexpr std::size_t g_mostBytes = std::size_t{1} << 20;

class OpenFile {
public:
    explicit OpenFile(const std::string& path)
        : m_descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    {
    }
    ~OpenFile()
    {
        if (m_descriptor >= 0) ::close(m_descriptor);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    bool isRegular() const
    {
        struct stat about = {};
        return m_descriptor >= 0 && ::fstat(m_descriptor, &about) == 0 && S_ISREG(about.st_mode);
    }
    /// Everything, or nothing when that is more than `most` bytes or cannot be read.
    std::optional<std::string> readAll(std::size_t most) const
    {
        std::string content(most + 1, '\0');
        std::size_t size = 0;
        while (size < content.size()) {
            const ssize_t got = ::read(m_descriptor, content.data() + size, content.size() - size);
            if (got < 0) return std::nullopt;
            if (got == 0) break;
            size += static_cast<std::size_t>(got);
        }
        if (size > most) return std::nullopt;
        content.resize(size);
        return content;
    }

private:
    int m_descriptor;
};

} // namespace

std::optional<texts_t> parseCatalog(std::string_view content)
{
    constexpr bool mayThrow = false;
    const auto root = nlohmann::json::parse(content, nullptr, mayThrow);
    if (!root.is_object()) return std::nullopt;
    texts_t texts;
    for (const auto& [id, text] : root.items()) {
        if (!text.is_string()) return std::nullopt;
        texts.emplace(id, text.get_ref<const std::string&>());
    }
    return texts;
}

std::optional<texts_t> readCatalog(const std::string& path)
{
    const OpenFile file(path);
    if (!file.isRegular()) return std::nullopt;
    const std::optional<std::string> content = file.readAll(g_mostBytes);
    return content ? parseCatalog(*content) : std::nullopt;
}

} // namespace optbook2
