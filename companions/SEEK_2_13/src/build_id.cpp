#include "build_id.h"

#include "hex_text.h"

#include <algorithm>

namespace SEEK_2_13 {
namespace {

constexpr std::size_t g_maxDigits = 128;
/// Recorders have room for 20 bytes, and linkers make ids of 8, 16 or 20.
constexpr std::size_t g_paddedDigits = 40;
constexpr std::size_t g_shortDigits[] = {32, 16};

} // namespace

std::optional<std::string> checkedBuildId(std::string_view text)
{
    std::optional<std::string> id = lowerHex(text);
    if (!id || id->size() > g_maxDigits || id->find_first_not_of('0') == std::string::npos)
        return std::nullopt;
    return id;
}

std::vector<std::string> buildIdForms(const std::string& recorded)
{
    std::vector<std::string> forms{recorded};
    if (recorded.size() != g_paddedDigits) return forms;
    for (const std::size_t digits : g_shortDigits)
        if (recorded.find_first_not_of('0', digits) == std::string::npos)
            forms.push_back(recorded.substr(0, digits));
    return forms;
}

bool buildIdFits(const std::string& recorded, const std::string& found)
{
    const std::vector<std::string> forms = buildIdForms(recorded);
    return std::find(forms.begin(), forms.end(), found) != forms.end();
}

std::string buildIdPath(const std::string& id)
{
    return id.substr(0, 2) + '/' + id.substr(2);
}

} // namespace SEEK_2_13
