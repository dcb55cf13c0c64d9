#pragma once

#include <toolbelt2/export.h>

#include <cstdint>
#include <string_view>

namespace toolbelt2 {

/// Tagged value of a store column, 16 bytes. Text is a counted block that copies share and the last
/// one frees; its count is atomic, so copies may live on several threads. The default value is
/// null.
class TOOLBELT2_API variant_t {
public:
    enum class kind_t : std::uint8_t { null, u16, s32, u32, s64, u64, real, text };

    variant_t() noexcept = default;
    explicit variant_t(std::uint16_t value) noexcept : m_kind(kind_t::u16) { m_value.u = value; }
    explicit variant_t(std::int32_t value) noexcept : m_kind(kind_t::s32) { m_value.s = value; }
    explicit variant_t(std::uint32_t value) noexcept : m_kind(kind_t::u32) { m_value.u = value; }
    explicit variant_t(std::int64_t value) noexcept : m_kind(kind_t::s64) { m_value.s = value; }
    explicit variant_t(std::uint64_t value) noexcept : m_kind(kind_t::u64) { m_value.u = value; }
    explicit variant_t(double value) noexcept : m_kind(kind_t::real) { m_value.d = value; }
    explicit variant_t(std::string_view text);
    explicit variant_t(const char* text) : variant_t(std::string_view(text)) {}

    variant_t(const variant_t& other) noexcept : m_value(other.m_value), m_kind(other.m_kind)
    {
        if (m_kind == kind_t::text) addTextReference();
    }
    variant_t(variant_t&& other) noexcept : m_value(other.m_value), m_kind(other.m_kind)
    {
        other.m_kind = kind_t::null;
    }
    variant_t& operator=(const variant_t& other) noexcept
    {
        variant_t copy(other);
        swap(copy);
        return *this;
    }
    variant_t& operator=(variant_t&& other) noexcept
    {
        swap(other);
        return *this;
    }
    ~variant_t()
    {
        if (m_kind == kind_t::text) dropTextReference();
    }

    void swap(variant_t& other) noexcept;

    kind_t kind() const noexcept { return m_kind; }
    bool is_null() const noexcept { return m_kind == kind_t::null; }
    bool is_s32_readable() const noexcept { return m_kind == kind_t::s32 || m_kind == kind_t::u32; }
    bool is_s64_readable() const noexcept { return m_kind == kind_t::s64 || m_kind == kind_t::u64; }
    /// True for the five integer kinds.
    bool is_integer() const noexcept { return m_kind >= kind_t::u16 && m_kind <= kind_t::u64; }

    /// Reads either 32-bit kind, its bits as signed. Any other kind fires "can_get<s32_t>()" and
    /// gives the low 32 bits of an integer, 0 of anything else.
    std::int32_t as_s32() const;
    /// Reads either 64-bit kind, its bits as signed. Any other kind fires "can_get<s64_t>()" and
    /// gives the value of an integer, 0 of anything else.
    std::int64_t as_s64() const;
    /// Bits of any integer kind widened to 64 bits (signed kinds extend their sign), 0 of anything
    /// else.
    std::uint64_t integer_bits() const noexcept { return is_integer() ? m_value.u : 0; }
    /// The double; 0.0 of any other kind.
    double as_double() const noexcept { return m_kind == kind_t::real ? m_value.d : 0.0; }
    /// The text, empty of any other kind. Lives as long as this value or a copy of it.
    std::string_view as_text() const noexcept;

    /// Equal in kind and value; texts compare by their bytes, doubles by value.
    friend TOOLBELT2_API bool operator==(const variant_t& a, const variant_t& b) noexcept;

private:
    struct text_block_t;
    union value_t {
        std::int64_t s;
        std::uint64_t u;
        double d;
        text_block_t* text;
    };

    void addTextReference() const noexcept;
    void dropTextReference() noexcept;

    value_t m_value{0};
    kind_t m_kind = kind_t::null;
};

} // namespace toolbelt2
