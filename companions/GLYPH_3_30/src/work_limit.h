#pragma once

#include <cstdint>

namespace GLYPH_3_30 {

/// How much work a file may cause, so that one made for it cannot keep the process busy for ever.
class WorkLimit {
public:
    explicit WorkLimit(std::uint64_t amount) : m_left(amount) {}

    /// False when there is not that much left, and from then on.
    bool spend(std::uint64_t amount) noexcept
    {
        m_left = amount <= m_left ? m_left - amount : 0;
        return m_left != 0;
    }

private:
    std::uint64_t m_left;
};

} // namespace GLYPH_3_30
