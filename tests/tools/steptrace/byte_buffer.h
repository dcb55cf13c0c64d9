// Bytes of a file in the making.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <vector>

namespace steptrace {

/// Appends values as they lie in memory, which on the one machine this runs on is little-endian.
class ByteBuffer {
public:
    template <class T>
    void put(const T& value)
    {
        static_assert(std::is_trivially_copyable_v<T>);
        putBytes(&value, sizeof value);
    }

    void putBytes(const void* bytes, std::size_t size)
    {
        const std::size_t at = grow(size);
        if (size) std::memcpy(m_bytes.data() + at, bytes, size);
    }

    /// The text with a zero behind it, filled up with zeros to a multiple of `unit`.
    void putPadded(std::string_view text, std::size_t unit)
    {
        const std::size_t at = grow((text.size() + unit) / unit * unit);
        if (!text.empty()) std::memcpy(m_bytes.data() + at, text.data(), text.size());
    }

    void overwrite(std::size_t at, std::uint16_t value)
    {
        std::memcpy(m_bytes.data() + at, &value, sizeof value);
    }

    [[nodiscard]] std::size_t size() const { return m_bytes.size(); }
    [[nodiscard]] const unsigned char* data() const { return m_bytes.data(); }

private:
    std::size_t grow(std::size_t size)
    {
        const std::size_t at = m_bytes.size();
        m_bytes.resize(at + size);
        return at;
    }

    std::vector<unsigned char> m_bytes;
};

} // namespace steptrace
