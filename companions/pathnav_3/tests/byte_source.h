#pragma once

#include <pathnav_3/data_source.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace pathnav_test {

using pathnav_3::code_range_t;

/// Code that a test writes down: bytes from one address on, and which ranges they are divided into.
class ByteSource : public pathnav_3::IDataSource {
public:
    ByteSource(std::uint64_t base, std::string bytes, std::vector<code_range_t> ranges)
        : m_base(base), m_bytes(std::move(bytes)), m_ranges(std::move(ranges))
    {
    }

    bool findCode(std::uint64_t rva, code_range_t& range) const override
    {
        for (const code_range_t& candidate : m_ranges) {
            if (rva < candidate.start || candidate.end <= rva) continue;
            range = candidate;
            return true;
        }
        return false;
    }
    bool findNextCode(std::uint64_t rva, code_range_t& range) const override
    {
        for (const code_range_t& candidate : m_ranges) { // which are by address
            if (candidate.start < rva) continue;
            range = candidate;
            return true;
        }
        return false;
    }
    std::size_t readCode(std::uint64_t rva, std::span<std::byte> bytes) const override
    {
        ++reads;
        if (rva < m_base || rva - m_base >= m_bytes.size()) return 0;
        const std::size_t at = rva - m_base;
        const std::size_t count = std::min(bytes.size(), m_bytes.size() - at);
        std::memcpy(bytes.data(), m_bytes.data() + at, count);
        return count;
    }
    bool neverReturns(std::uint64_t rva) const override { return goneFor.count(rva) != 0; }

    std::set<std::uint64_t> goneFor; ///< functions that never come back
    mutable int reads = 0;

private:
    std::uint64_t m_base;
    std::string m_bytes;
    std::vector<code_range_t> m_ranges;
};

/// The bytes that `text` has as pairs of hexadecimal digits; spaces are for the reader.
inline std::string fromHexText(std::string_view text)
{
    std::string bytes;
    std::string digits;
    for (const char c : text) {
        if (c == ' ') continue;
        digits += c;
        if (digits.size() < 2) continue;
        bytes += static_cast<char>(std::stoi(digits, nullptr, 16));
        digits.clear();
    }
    return bytes;
}

} // namespace pathnav_test
