#include "utils_impl/group_lines.h"

#include <algorithm>
#include <locale>
#include <sstream>

namespace samplefold_1::utils {
namespace {

constexpr std::string_view g_sectionStart = "PMU type:";
constexpr std::string_view g_coreSectionStart = "PMU type: Core";
constexpr std::string_view g_groupStart = "Group ";
constexpr std::string_view g_dividers = " \t:";

/// Empty when the line has but one.
std::string_view secondToken(std::string_view line)
{
    const auto skip = [&line](std::size_t position) {
        line.remove_prefix(std::min(position, line.size()));
    };
    skip(line.find_first_not_of(g_dividers));
    skip(line.find_first_of(g_dividers));
    skip(line.find_first_not_of(g_dividers));
    return line.substr(0, line.find_first_of(g_dividers));
}

/// The number that the token begins with; 0 for none, the nearest for one that is out of range.
std::int64_t numberOf(std::string_view token)
{
    std::istringstream in{std::string(token)};
    in.imbue(std::locale::classic());
    std::int64_t number = 0;
    in >> number;
    return number;
}

} // namespace

bool readLine(std::istream& in, std::string& line, std::size_t limit)
{
    line.clear();
    char letter = 0;
    bool any = false;
    while (in.get(letter)) {
        any = true;
        if (letter == '\n') return true;
        if (line.size() < limit) line += letter;
    }
    return any;
}

void CoreGroups::take(std::string_view line)
{
    if (line.starts_with(g_sectionStart)) {
        m_inCoreSection = line.starts_with(g_coreSectionStart);
    } else if (m_inCoreSection && line.starts_with(g_groupStart)) {
        const std::string_view token = secondToken(line);
        if (!token.empty()) m_highest = std::max(m_highest, numberOf(token));
    }
}

} // namespace samplefold_1::utils
