#pragma once

#include <rowvault1/export.h>
#include <toolbelt2/variant.h>

#include <cstdint>
#include <string>

namespace rowvault1 {

/// Row key of every table: a signed 32-bit number, -1 when there is no row. Keys compare as signed
/// numbers. A plain value.
class Index {
public:
    constexpr Index() noexcept = default;
    constexpr explicit Index(std::int32_t value) noexcept : m_value(value) {}

    constexpr bool exist() const noexcept { return m_value != -1; }
    constexpr std::int32_t value() const noexcept { return m_value; }

    friend constexpr bool operator==(Index, Index) noexcept = default;
    friend constexpr auto operator<=>(Index, Index) noexcept = default;

private:
    std::int32_t m_value = -1;
};

/// A column position that means "no such column".
inline constexpr std::uint16_t InvalidColIdx = 65535;

namespace utils {

/// Row key held by a column's value: an integer of either 32-bit or 64-bit kind is cut to 32 bits,
/// null gives -1. Any other kind fires "Variant cannot be converted to db index - type mismatch"
/// and gives -1.
ROWVAULT1_API Index variantToIndex(const tb2::variant_t& value);

/// Text held by a column's value: a copy of the text, the empty text for null. Any other kind fires
/// "Variant cannot be converted to string - type mismatch" and gives the empty text.
ROWVAULT1_API std::string variantToString(const tb2::variant_t& value);

/// Value of a key column: the key as signed 32-bit, null when it does not exist.
inline tb2::variant_t indexToVariant(Index key)
{
    return key.exist() ? tb2::variant_t(key.value()) : tb2::variant_t();
}

} // namespace utils
} // namespace rowvault1
