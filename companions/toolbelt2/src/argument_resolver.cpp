#include <toolbelt2/argument_resolver.h>

namespace toolbelt2::internal {

std::string argument_resolver_t::resolve() const
{
    std::string out;
    out.reserve(m_text.size());
    for (std::size_t i = 0; i < m_text.size(); ++i) {
        const bool place = m_text[i] == '%' && i + 1 < m_text.size() && m_text[i + 1] >= '1' &&
                           m_text[i + 1] <= '9';
        const std::size_t argument = place ? static_cast<std::size_t>(m_text[i + 1] - '1') : 0;
        if (!place || argument >= m_arguments.size()) {
            out += m_text[i];
            continue;
        }
        out += m_arguments[argument];
        ++i;
    }
    return out;
}

} // namespace toolbelt2::internal
