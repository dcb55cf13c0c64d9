#pragma once

#include <string>
#include <string_view>

namespace PORTA_2_18 {

/// Text in UTF-8 as the family passes it between its libraries: a byte string that owns its memory,
/// is always NUL-terminated and is not checked for valid UTF-8 (paths on Linux are plain bytes).
/// Copying copies the bytes. One object belongs to one thread at a time.
class ustring8 {
public:
    ustring8() = default;
    explicit ustring8(std::string_view text) : m_text(text) {}

    const char* c_str() const noexcept { return m_text.c_str(); }
    std::size_t size() const noexcept { return m_text.size(); }
    bool empty() const noexcept { return m_text.empty(); }
    std::string_view view() const noexcept { return m_text; }
    const std::string& str() const noexcept { return m_text; }

    ustring8& operator+=(std::string_view more)
    {
        m_text += more;
        return *this;
    }

    friend bool operator==(const ustring8&, const ustring8&) = default;
    friend auto operator<=>(const ustring8&, const ustring8&) = default;

private:
    std::string m_text;
};

} // namespace PORTA_2_18
