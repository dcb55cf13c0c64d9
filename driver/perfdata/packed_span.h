// Read-only views of little-endian arrays that lie unaligned in the bytes of a recording.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <type_traits>

namespace samplefold::perfdata {

/// Loads a T from bytes of any alignment. The caller has checked that sizeof(T) bytes are there.
template <class T>
[[nodiscard]] inline T loadAt(const std::byte* bytes) noexcept
{
    static_assert(std::is_trivially_copyable_v<T>);
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

/// A sequence of `size()` packed T in the bytes of a recording; elements are copied out when read.
/// It owns nothing and is valid as long as the Recording it came from. Indices are not checked:
/// the decoder has verified that all elements lie within their record.
template <class T>
class PackedSpan {
public:
    class Iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = const T*;
        using reference = T;

        Iterator() = default;
        explicit Iterator(const std::byte* at) noexcept : m_at(at) {}
        T operator*() const noexcept { return loadAt<T>(m_at); }
        Iterator& operator++() noexcept
        {
            m_at += sizeof(T);
            return *this;
        }
        Iterator operator++(int) noexcept
        {
            Iterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(const Iterator&) const = default;

    private:
        const std::byte* m_at = nullptr;
    };

    PackedSpan() = default;
    PackedSpan(const std::byte* bytes, std::size_t size) noexcept : m_bytes(bytes), m_size(size) {}

    [[nodiscard]] std::size_t size() const noexcept { return m_size; }
    [[nodiscard]] bool empty() const noexcept { return m_size == 0; }
    [[nodiscard]] T operator[](std::size_t index) const noexcept
    {
        return loadAt<T>(m_bytes + index * sizeof(T));
    }
    [[nodiscard]] const std::byte* bytes() const noexcept { return m_bytes; }
    [[nodiscard]] Iterator begin() const noexcept { return Iterator(m_bytes); }
    [[nodiscard]] Iterator end() const noexcept { return Iterator(m_bytes + m_size * sizeof(T)); }

private:
    const std::byte* m_bytes = nullptr;
    std::size_t m_size = 0;
};

} // namespace samplefold::perfdata
