#include "context_data_file.h"

#include "context_data_text.h"
#include "module_path.h"
#include "regular_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace SEEK_2_13 {
namespace {

constexpr const char* g_fileName = "search.json";
/// Some hundred thousand modules.
constexpr std::uint64_t g_maxBytes = std::uint64_t{64} << 20;

/// Reads all of an opened file into `text`. Returns the cause when it cannot.
std::string readText(const RegularFile& file, std::string& text)
{
    if (file.size() > g_maxBytes) return "larger than " + std::to_string(g_maxBytes >> 20) + " MiB";
    text.resize(file.size());
    const ssize_t got = file.readAt(std::as_writable_bytes(std::span(text)), 0);
    if (got < 0) return std::strerror(errno);
    text.resize(static_cast<std::size_t>(got));
    return {};
}

bool writeAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = ::write(fd, text.data(), text.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

/// Writes a file beside `path` and puts it in its place. False with errno.
bool replaceFile(const std::string& path, std::string_view text)
{
    constexpr mode_t readableByAll = 0644;
    std::string draft = path + ".XXXXXX";
    const int fd = ::mkstemp(draft.data());
    if (fd < 0) return false;
    bool written = writeAll(fd, text) && ::fchmod(fd, readableByAll) == 0 && ::fsync(fd) == 0;
    written = ::close(fd) == 0 && written;
    if (written && std::rename(draft.c_str(), path.c_str()) == 0) return true;
    const int number = errno;
    ::unlink(draft.c_str());
    errno = number;
    return false;
}

} // namespace

bool loadData(const std::string& directory, context_data_t& data, std::string& fault)
{
    const std::string path = joined(directory, g_fileName);
    RegularFile file;
    std::string text;
    std::string detail;
    const refusal_t refusal = file.open(path, detail);
    if (refusal == refusal_t::notFound) return true;
    if (refusal != refusal_t::none) {
        fault = path + ": " + (detail.empty() ? refusalName(refusal) : detail);
        return false;
    }
    detail = readText(file, text);
    if (detail.empty() && readData(text, data, detail)) return true;
    fault = path + ": " + detail + "; remove the file to search without it";
    return false;
}

bool saveData(const std::string& directory, const context_data_t& data, std::string& fault)
{
    const std::string path = joined(directory, g_fileName);
    const std::string text = textOfData(data);
    if (text.size() > g_maxBytes) {
        fault = path + ": more than " + std::to_string(g_maxBytes >> 20) + " MiB of search data";
        return false;
    }
    if (replaceFile(path, text)) return true;
    fault = path + ": " + std::strerror(errno);
    return false;
}

} // namespace SEEK_2_13
