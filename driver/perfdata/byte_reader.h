// A cursor over bytes of unknown honesty.
#pragma once

#include "perfdata/packed_span.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace samplefold::perfdata {

/// Reads little-endian values one after the other. The first read beyond the end makes the reader
/// fail for good: that read and all later ones give zero values, so a decoder checks ok() once,
/// at its end (loops over counts from the input must check inside). Owns nothing.
class ByteReader {
public:
    ByteReader(const std::byte* bytes, std::size_t size) noexcept : m_at(bytes), m_left(size) {}
    explicit ByteReader(std::span<const std::byte> bytes) noexcept
        : ByteReader(bytes.data(), bytes.size())
    {
    }

    [[nodiscard]] bool ok() const noexcept { return m_ok; }
    [[nodiscard]] std::size_t left() const noexcept { return m_left; }
    [[nodiscard]] const std::byte* at() const noexcept { return m_at; }

    template <class T>
    T take() noexcept
    {
        if (!has(sizeof(T))) return T{};
        const T value = loadAt<T>(m_at);
        advance(sizeof(T));
        return value;
    }

    /// The next `count` bytes; empty when there are fewer.
    std::span<const std::byte> bytes(std::uint64_t count) noexcept
    {
        if (!has(count)) return {};
        const std::span<const std::byte> taken(m_at, static_cast<std::size_t>(count));
        advance(taken.size());
        return taken;
    }

    void skip(std::uint64_t count) noexcept { bytes(count); }

    /// The next `count` packed T; empty when there are fewer.
    template <class T>
    PackedSpan<T> array(std::uint64_t count) noexcept
    {
        if (count > m_left / sizeof(T)) {
            fail();
            return {};
        }
        const PackedSpan<T> taken(m_at, static_cast<std::size_t>(count));
        advance(taken.size() * sizeof(T));
        return taken;
    }

    /// Text of a field of `count` bytes, cut at its first NUL.
    std::string_view text(std::uint64_t count) noexcept
    {
        const std::span<const std::byte> field = bytes(count);
        const std::string_view whole(reinterpret_cast<const char*>(field.data()), field.size());
        return whole.substr(0, whole.find('\0'));
    }

    /// All that is left, as text cut at its first NUL.
    std::string_view restAsText() noexcept { return text(m_left); }

    /// Text that must end with a NUL within the bytes left; takes the NUL too.
    std::string_view terminatedText() noexcept
    {
        const void* end = m_left == 0 ? nullptr : std::memchr(m_at, 0, m_left);
        if (end == nullptr) {
            fail();
            return {};
        }
        const auto length = static_cast<std::size_t>(static_cast<const std::byte*>(end) - m_at);
        const std::string_view found = text(length);
        skip(1);
        return found;
    }

    void fail() noexcept
    {
        m_ok = false;
        m_left = 0;
    }

private:
    bool has(std::uint64_t count) noexcept
    {
        if (count <= m_left) return true;
        fail();
        return false;
    }
    void advance(std::size_t count) noexcept
    {
        m_at += count;
        m_left -= count;
    }

    const std::byte* m_at;
    std::size_t m_left;
    bool m_ok = true;
};

} // namespace samplefold::perfdata
