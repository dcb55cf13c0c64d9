#include "demangled_size.h"

#include <algorithm>
#include <vector>

namespace GLYPH_3_30 {
namespace {

constexpr std::uint64_t g_ceiling = std::uint64_t{1} << 40;
/// Longest text that one letter or abbreviation stands for.
constexpr std::uint64_t g_letterBytes = 80;

bool isDigit(char c)
{
    return '0' <= c && c <= '9';
}

/// Adds up what the parts of a mangled name print, without understanding it: brackets are groups,
/// and a reference is taken to stand for the largest group or name before it.
class SizeBound {
public:
    explicit SizeBound(std::string_view name) : m_name(name) {}

    std::uint64_t compute()
    {
        while (m_at < m_name.size())
            step();
        while (m_open.size() > 1)
            close();
        return m_open.front().bytes;
    }

private:
    struct group_t {
        std::uint64_t bytes = 0;
        std::uint64_t parts = 0;
    };

    void step()
    {
        const char c = m_name[m_at];
        if (isDigit(c)) return addName();
        ++m_at;
        switch (c) {
        case 'S':
        case 'T':
            return addReference();
        case 'F':
        case 'I':
        case 'J':
        case 'L':
        case 'N':
        case 'X':
            m_open.emplace_back();
            return;
        case 'E':
            return close();
        case 'M': // joins two parts without brackets
            m_largest = std::min(2 * m_largest + g_letterBytes, g_ceiling);
            return add(g_letterBytes);
        case 'D':
            if (next() == 'p') m_largest = std::min(m_largest * m_mostParts, g_ceiling);
            return add(g_letterBytes);
        default:
            return add(g_letterBytes);
        }
    }

    char next() const { return m_at < m_name.size() ? m_name[m_at] : '\0'; }

    void addName()
    {
        std::uint64_t length = 0;
        for (; isDigit(next()); ++m_at)
            length = std::min(length * 10 + static_cast<std::uint64_t>(next() - '0'), g_ceiling);
        length = std::min<std::uint64_t>(length, m_name.size() - m_at);
        m_at += length;
        m_largest = std::max(m_largest, length);
        add(length);
    }

    void addReference()
    {
        std::size_t end = m_at;
        while (end < m_name.size() &&
               (isDigit(m_name[end]) || ('A' <= m_name[end] && m_name[end] <= 'Z')))
            ++end;
        if (end == m_name.size() || m_name[end] != '_') { // an abbreviation of two letters
            ++m_at;
            return add(g_letterBytes);
        }
        m_at = end + 1;
        add(m_largest + m_name.size());
    }

    void add(std::uint64_t bytes)
    {
        group_t& group = m_open.back();
        group.bytes = std::min(group.bytes + bytes, g_ceiling);
        ++group.parts;
    }

    void close()
    {
        if (m_open.size() == 1) return;
        const group_t group = m_open.back();
        m_open.pop_back();
        m_largest = std::max(m_largest, group.bytes);
        m_mostParts = std::max(m_mostParts, group.parts);
        add(group.bytes);
    }

    std::string_view m_name;
    std::size_t m_at = 0;
    std::vector<group_t> m_open = std::vector<group_t>(1);
    std::uint64_t m_largest = g_letterBytes;
    std::uint64_t m_mostParts = 1;
};

} // namespace

std::uint64_t demangledSizeBound(std::string_view name)
{
    return SizeBound(name).compute();
}

} // namespace GLYPH_3_30
