#include "hwsamp/text_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace samplefold::hwsamp {
namespace {

constexpr std::string_view g_blanks = " \t\r";

} // namespace

std::optional<std::string> readTextFile(const std::string& path)
{
    std::error_code problem;
    const auto status = std::filesystem::status(path, problem);
    if (status.type() == std::filesystem::file_type::not_found) return std::nullopt;
    if (!std::filesystem::is_regular_file(status)) throw ToolError(path + ": it is no file");
    std::ifstream in(path, std::ios::binary);
    std::string content(textFileLimit + 1, '\0');
    in.read(content.data(), static_cast<std::streamsize>(content.size()));
    if (!in.is_open() || in.bad()) throw ToolError(path + ": it cannot be read");
    if (!in.eof())
        throw ToolError(path + ": it is longer than " + std::to_string(textFileLimit) + " bytes");
    content.resize(static_cast<std::size_t>(in.gcount()));
    return content;
}

std::string_view trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(g_blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(g_blanks) - first + 1);
}

bool isControl(char letter)
{
    return static_cast<unsigned char>(letter) < ' ' || letter == '\x7f';
}

std::vector<text_line_t> linesOf(std::string_view content)
{
    std::vector<text_line_t> lines;
    for (int number = 1; !content.empty(); ++number) {
        const std::size_t end = std::min(content.find('\n'), content.size());
        const std::string_view line = content.substr(0, end);
        content.remove_prefix(std::min(end + 1, content.size()));
        const std::string_view text = trimmed(line);
        if (!text.empty() && !line.starts_with('#')) lines.push_back({text, number});
    }
    return lines;
}

} // namespace samplefold::hwsamp
