#include <PORTA_2_18/printable.h>

namespace PORTA_2_18::generic {
namespace {

/// Control characters of ASCII, and those from U+0080 to U+009F, both of their bytes in UTF-8: some
/// terminals obey them.
bool isControl(std::string_view text, std::size_t at)
{
    constexpr unsigned char lead = 0xC2;
    const auto byteAt = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
    };
    const auto isLater = [&](std::size_t i) { return byteAt(i) >= 0x80 && byteAt(i) < 0xA0; };
    const int byte = byteAt(at);
    if (byte < 0x20 || byte == 0x7f) return true;
    if (byte == lead) return isLater(at + 1);
    return at > 0 && byteAt(at - 1) == lead && isLater(at);
}

} // namespace

std::string printable(std::string_view text)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (!isControl(text, i)) {
            out += text[i];
            continue;
        }
        out += "\\x";
        out += digits[byte >> 4];
        out += digits[byte & 15];
    }
    return out;
}

} // namespace PORTA_2_18::generic
