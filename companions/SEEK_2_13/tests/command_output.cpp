#include "command_output.h"

#include <array>
#include <cstdio>
#include <stdexcept>

namespace seek_test {

std::string outputOf(const std::string& command)
{
    std::FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) throw std::runtime_error("cannot run: " + command);
    std::string text;
    std::array<char, 4096> block{};
    for (std::size_t got = 1; got != 0;) {
        got = std::fread(block.data(), 1, block.size(), pipe);
        text.append(block.data(), got);
    }
    if (::pclose(pipe) != 0) throw std::runtime_error("failed: " + command);
    return text;
}

std::string shellQuoted(const std::string& text)
{
    return "'" + text + "'";
}

} // namespace seek_test
