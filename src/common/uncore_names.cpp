#include "common/uncore_names.h"

#include <charconv>
#include <limits>

namespace samplefold_1::uncore_names {
namespace {

constexpr std::string_view g_unit = "[UNIT";
constexpr std::string_view g_digits = "0123456789";

/// `text` without the digits at its end.
std::string_view withoutNumber(std::string_view text)
{
    const std::size_t last = text.find_last_not_of(g_digits);
    return last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1);
}

bool endsInUnit(std::string_view name)
{
    if (!name.ends_with(']')) return false;
    name.remove_suffix(1);
    const std::string_view front = withoutNumber(name);
    return front.size() < name.size() && front.ends_with(g_unit);
}

bool endsInNumber(std::string_view name)
{
    const std::string_view front = withoutNumber(name);
    return front.size() < name.size() && front.ends_with('_');
}

bool matchWhole(std::string_view name, const boost::regex& pattern, boost::cmatch& groups)
{
    return boost::regex_match(name.data(), name.data() + name.size(), groups, pattern);
}

template <class Number, class... Form>
bool read(std::string_view digits, Number& out, Form... form)
{
    const auto end = digits.data() + digits.size();
    const std::errc failure = std::from_chars(digits.data(), end, out, form...).ec;
    if (failure == std::errc::result_out_of_range) out = std::numeric_limits<Number>::max();
    return failure == std::errc();
}

} // namespace

bool matchEvent(std::string_view name, const boost::regex& pattern, boost::cmatch& groups)
{
    return endsInUnit(name) && matchWhole(name, pattern, groups);
}

bool matchPackage(std::string_view name, const boost::regex& pattern, boost::cmatch& groups)
{
    return endsInNumber(name) && matchWhole(name, pattern, groups);
}

std::string_view textOf(const boost::csub_match& group)
{
    return group.matched ? std::string_view(group.first, static_cast<std::size_t>(group.length()))
                         : std::string_view();
}

bool readNumber(std::string_view digits, int& out)
{
    return read(digits, out);
}

bool readHexNumber(std::string_view digits, unsigned int& out)
{
    return read(digits, out, 16);
}

bool readDecimal(std::string_view digits, double& out)
{
    if (read(digits, out, std::chars_format::fixed)) return true;
    // Out of range may also mean too close to 0.
    const bool belowOne = digits.find_first_not_of('0') == digits.find('.');
    if (belowOne && !digits.empty()) out = 0;
    return false;
}

} // namespace samplefold_1::uncore_names
