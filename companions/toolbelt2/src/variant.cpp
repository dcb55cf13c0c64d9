#include <toolbelt2/variant.h>

#include <PORTA_2_18/assert.h>

#include <atomic>
#include <cstring>
#include <new>
#include <utility>

namespace toolbelt2 {

/// The bytes stand behind the block, in the same allocation.
struct variant_t::text_block_t {
    std::atomic<std::uint32_t> references{1};
    std::size_t size = 0;

    char* bytes() noexcept { return reinterpret_cast<char*>(this + 1); }
};

variant_t::variant_t(std::string_view text)
{
    void* const room = ::operator new(sizeof(text_block_t) + text.size());
    m_value.text = new (room) text_block_t;
    m_value.text->size = text.size();
    if (!text.empty()) std::memcpy(m_value.text->bytes(), text.data(), text.size());
    m_kind = kind_t::text;
}

void variant_t::swap(variant_t& other) noexcept
{
    std::swap(m_value, other.m_value);
    std::swap(m_kind, other.m_kind);
}

void variant_t::addTextReference() const noexcept
{
    m_value.text->references.fetch_add(1, std::memory_order_relaxed);
}

void variant_t::dropTextReference() noexcept
{
    if (m_value.text->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    m_value.text->~text_block_t();
    ::operator delete(m_value.text);
}

std::int32_t variant_t::as_s32() const
{
    PORTA_ASSERT_TEXT(is_s32_readable(), "can_get<s32_t>()");
    return static_cast<std::int32_t>(integer_bits());
}

std::int64_t variant_t::as_s64() const
{
    PORTA_ASSERT_TEXT(is_s64_readable(), "can_get<s64_t>()");
    return static_cast<std::int64_t>(integer_bits());
}

std::string_view variant_t::as_text() const noexcept
{
    if (m_kind != kind_t::text) return {};
    return {m_value.text->bytes(), m_value.text->size};
}

bool operator==(const variant_t& a, const variant_t& b) noexcept
{
    if (a.m_kind != b.m_kind) return false;
    switch (a.m_kind) {
    case variant_t::kind_t::null:
        return true;
    case variant_t::kind_t::real:
        return a.m_value.d == b.m_value.d;
    case variant_t::kind_t::text:
        return a.as_text() == b.as_text();
    default:
        return a.m_value.u == b.m_value.u;
    }
}

} // namespace toolbelt2
