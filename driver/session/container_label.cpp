#include "session/container_label.h"

#include "session/container_option.h"

#include <algorithm>

namespace samplefold::session {
namespace {

constexpr std::string_view g_hexDigits = "0123456789abcdef";
/// Identities have 64 digits; other numbers in names are shorter than half of that.
constexpr std::size_t g_leastIdentity = 32;
constexpr std::size_t g_shownDigits = 12;

/// The last run of digits that is long enough, which is the innermost container's.
std::string_view identityIn(std::string_view path)
{
    std::string_view found;
    for (std::size_t at = path.find_first_of(g_hexDigits); at != path.npos;) {
        const std::size_t end = std::min(path.find_first_not_of(g_hexDigits, at), path.size());
        if (end - at >= g_leastIdentity) found = path.substr(at, end - at);
        at = path.find_first_of(g_hexDigits, end);
    }
    return found;
}

} // namespace

std::string labelOfCgroup(std::string_view path)
{
    const std::string_view identity = identityIn(path);
    if (!identity.empty()) return std::string(identity.substr(0, g_shownDigits));
    while (path.ends_with('/'))
        path.remove_suffix(1);
    std::string label(path.substr(path.rfind('/') + 1));
    std::replace_if(
        label.begin(), label.end(), [](char c) { return c == ':' || isControlCharacter(c); }, '_');
    return isContainerLabel(label) ? label : std::string();
}

} // namespace samplefold::session
