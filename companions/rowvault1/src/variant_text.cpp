#include "variant_text.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <utility>

namespace rowvault1 {
namespace {

using kind_t = tb2::variant_t::kind_t;

constexpr std::array<std::pair<kind_t, std::string_view>, 8> g_names{{
    {kind_t::null, "null"},
    {kind_t::u16, "u16"},
    {kind_t::s32, "s32"},
    {kind_t::u32, "u32"},
    {kind_t::s64, "s64"},
    {kind_t::u64, "u64"},
    {kind_t::real, "real"},
    {kind_t::text, "text"},
}};

kind_t kindOf(std::string_view name)
{
    for (const auto& [kind, text] : g_names)
        if (text == name) return kind;
    return kind_t::null;
}

/// The shortest text that is read back as the same number.
template <class Number>
std::string numberText(Number number)
{
    std::array<char, 32> text{};
    const auto written = std::to_chars(text.data(), text.data() + text.size(), number);
    return {text.data(), written.ptr};
}

template <class Number>
tb2::variant_t numberOf(std::string_view text)
{
    Number number{};
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    const bool whole = read.ec == std::errc() && read.ptr == end;
    return whole ? tb2::variant_t(number) : tb2::variant_t();
}

} // namespace

std::string_view kindName(kind_t kind)
{
    for (const auto& [known, text] : g_names)
        if (known == kind) return text;
    return {};
}

std::string variantText(const tb2::variant_t& value)
{
    switch (value.kind()) {
    case kind_t::null:
        return {};
    case kind_t::text:
        return std::string(value.as_text());
    case kind_t::real:
        return numberText(value.as_double());
    case kind_t::s32:
    case kind_t::s64:
        return numberText(static_cast<std::int64_t>(value.integer_bits()));
    default:
        return numberText(value.integer_bits());
    }
}

tb2::variant_t variantOf(std::string_view kind, std::string_view text)
{
    switch (kindOf(kind)) {
    case kind_t::u16:
        return numberOf<std::uint16_t>(text);
    case kind_t::s32:
        return numberOf<std::int32_t>(text);
    case kind_t::u32:
        return numberOf<std::uint32_t>(text);
    case kind_t::s64:
        return numberOf<std::int64_t>(text);
    case kind_t::u64:
        return numberOf<std::uint64_t>(text);
    case kind_t::real:
        return numberOf<double>(text);
    case kind_t::text:
        return tb2::variant_t(text);
    default:
        return {};
    }
}

} // namespace rowvault1
