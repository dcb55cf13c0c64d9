#include "platform_info/platform_lines.h"

#include <PORTA_2_18/convert.h>

#include <boost/regex.hpp>

#include <optional>

namespace samplefold_1 {
namespace {

constexpr const char* g_platformLine =
    "Platform: ([[:digit:]]*), PMU: ([[:word:]]*), Signature: (0x[[:xdigit:]]*), CPU name: (.*)";
constexpr std::string_view g_mark = "Platform:";
constexpr std::string_view g_unknown = "Unknown";
constexpr std::string_view g_trailing = " \n\r\t";
constexpr int g_radixByPrefix = 0;

std::string_view stripped(std::string_view line)
{
    return line.substr(0, line.find_last_not_of(g_trailing) + 1);
}

/// Takes the last line off the text.
std::string_view takeLastLine(std::string_view& text)
{
    const std::size_t newline = text.rfind('\n');
    const std::size_t begin = newline == std::string_view::npos ? 0 : newline + 1;
    const std::string_view line = text.substr(begin);
    text = text.substr(0, begin == 0 ? 0 : newline);
    return line;
}

std::optional<PlatformInfo::PmuSignature> platformOf(std::string_view line,
                                                     const boost::regex& expression)
{
    if (line.find(g_mark) == std::string_view::npos) return std::nullopt;
    boost::cmatch found;
    if (!boost::regex_search(line.data(), line.data() + line.size(), found, expression))
        return std::nullopt;
    PlatformInfo::PmuSignature platform{.signature = 0, .pmu = found[2].str()};
    const std::string signature = found[3].str();
    if (platform.pmu.empty() || signature.empty() ||
        platform.pmu.find(g_unknown) != std::string::npos)
        return std::nullopt;
    // A number that is none, or too long, leaves 0, which is no processor's.
    PORTA_2_18::generic::convert::str_to_uint64(signature, platform.signature, g_radixByPrefix,
                                                false);
    return platform;
}

} // namespace

std::vector<PlatformInfo::PmuSignature> platformsOf(std::string_view output)
{
    const boost::regex expression(g_platformLine);
    std::vector<PlatformInfo::PmuSignature> platforms;
    while (!output.empty()) {
        auto platform = platformOf(stripped(takeLastLine(output)), expression);
        if (platform) platforms.push_back(std::move(*platform));
    }
    return platforms;
}

} // namespace samplefold_1
