#include <PORTA_2_18/convert.h>

#include <charconv>

namespace PORTA_2_18::generic::convert {
namespace {

bool startsWithHexPrefix(std::string_view text)
{
    return text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
}

} // namespace

bool str_to_uint64(std::string_view text, std::uint64_t& out, int radix, bool allowTrailing)
{
    if ((radix == 0 || radix == 16) && startsWithHexPrefix(text)) {
        text.remove_prefix(2);
        radix = 16;
    } else if (radix == 0) {
        radix = text.size() > 1 && text[0] == '0' ? 8 : 10;
    }
    if (radix < 2 || radix > 36) return false;
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, radix);
    if (error != std::errc{} || (stop != end && !allowTrailing)) return false;
    out = value;
    return true;
}

} // namespace PORTA_2_18::generic::convert
