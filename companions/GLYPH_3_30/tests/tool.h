#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The tools of the machine, which the answers of the library are compared with.
namespace glyph_test {

/// What a shell command gave: its standard output, and whether it ended well.
struct tool_output_t {
    std::string text;
    bool isGood = false;
};
tool_output_t runTool(const std::string& command);

std::vector<std::string> linesOf(std::string_view text);
std::vector<std::string> wordsOf(std::string_view line);
std::uint64_t fromHex(const std::string& text);
std::string toHex(std::uint64_t number);

} // namespace glyph_test
