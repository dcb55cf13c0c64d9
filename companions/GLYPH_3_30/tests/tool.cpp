#include "tool.h"

#include <cstdio>
#include <sstream>

namespace glyph_test {

tool_output_t runTool(const std::string& command)
{
    tool_output_t output;
    std::FILE* pipe = ::popen(("export LC_ALL=C; { " + command + "; } 2>/dev/null").c_str(), "r");
    if (pipe == nullptr) return output;
    char block[1 << 14];
    for (std::size_t got = 0; (got = std::fread(block, 1, sizeof block, pipe)) > 0;)
        output.text.append(block, got);
    output.isGood = ::pclose(pipe) == 0;
    return output;
}

std::vector<std::string> linesOf(std::string_view text)
{
    std::vector<std::string> lines;
    std::istringstream in{std::string(text)};
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> wordsOf(std::string_view line)
{
    std::vector<std::string> words;
    std::istringstream in{std::string(line)};
    for (std::string word; in >> word;)
        words.push_back(word);
    return words;
}

std::uint64_t fromHex(const std::string& text)
{
    return std::stoull(text, nullptr, 16);
}

std::string toHex(std::uint64_t number)
{
    std::ostringstream out;
    out << std::hex << number;
    return out.str();
}

} // namespace glyph_test
