#include "names/small_file.h"

#include <toolbelt2/regular_file.h>

#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace samplefold::names {
namespace {

std::nullopt_t failed(std::string& fault, int error)
{
    fault = std::generic_category().message(error);
    return std::nullopt;
}

} // namespace

std::optional<std::string> readSmallFile(const std::string& path, std::size_t mostBytes,
                                         std::string& fault)
{
    const tb2::regular_file_t file(path);
    if (!file.isOpen() && file.error() != 0) return failed(fault, file.error());
    if (!file.isOpen()) {
        fault = "is no regular file";
        return std::nullopt;
    }
    std::string content;
    std::array<char, 65536> block;
    for (;;) {
        const ssize_t got = read(file.descriptor(), block.data(), block.size());
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
