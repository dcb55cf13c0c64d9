#include "hwsamp/platform_file.h"

#include "hwsamp/text_file.h"

#include <PORTA_2_18/convert.h>

#include <algorithm>
#include <optional>

namespace samplefold::hwsamp {
namespace {

constexpr int g_mostComplaints = 100;
constexpr int g_hexadecimal = 16;

/// Takes the first word off a text without blanks at its ends.
std::string_view takeWord(std::string_view& text)
{
    const std::size_t end = std::min(text.find_first_of(" \t"), text.size());
    const std::string_view word = text.substr(0, end);
    text = trimmed(text.substr(end));
    return word;
}

std::optional<std::uint64_t> signatureOf(std::string_view word)
{
    std::uint64_t signature = 0;
    if (!word.starts_with("0x") ||
        !PORTA_2_18::generic::convert::str_to_uint64(word, signature, g_hexadecimal, false))
        return std::nullopt;
    return signature;
}

/// Fills the platform; says what is wrong, or nothing.
std::string parseLine(std::string_view line, Platform& platform)
{
    const auto signature = signatureOf(takeWord(line));
    if (!signature) return "the line must begin with a signature such as 0x50657";
    const std::string_view pmu = takeWord(line);
    if (!isPlainPmuName(pmu))
        return "the second word must be the PMU's name, of letters, digits and underscores";
    if (line.empty()) return "the name of the CPU is missing";
    platform.signature = *signature;
    platform.pmu = pmu;
    platform.cpuName = line;
    return {};
}

} // namespace

std::vector<Platform> parsePlatforms(std::string_view content, const std::string& path,
                                     const complain_t& complain)
{
    std::vector<Platform> platforms;
    int complaints = 0;
    for (const auto& [line, number] : linesOf(content)) {
        Platform platform;
        platform.number = static_cast<int>(platforms.size()) + 1;
        const std::string problem = parseLine(line, platform);
        if (problem.empty()) {
            platforms.push_back(std::move(platform));
            continue;
        }
        const std::string place = path + ":" + std::to_string(number) + ": ";
        if (++complaints > g_mostComplaints) {
            complain(place + "too many bad lines; the rest is left out");
            break;
        }
        complain(place + problem + "; the line is left out");
    }
    return platforms;
}

std::vector<Platform> readPlatforms(const std::string& path, const complain_t& complain)
{
    try {
        if (const auto content = readTextFile(path))
            return parsePlatforms(*content, path, complain);
    } catch (const ToolError& error) {
        complain(error.what());
    }
    return {};
}

} // namespace samplefold::hwsamp
