#pragma once

#include <toolbelt2/export.h>

#include <string>
#include <string_view>
#include <vector>

namespace toolbelt2::internal {

/// Builds a message from a text with places "%1" to "%9". A place with no argument, and every other
/// "%", stays as it is. One object belongs to one thread.
class TOOLBELT2_API argument_resolver_t {
public:
    explicit argument_resolver_t(std::string_view text) : m_text(text) {}

    argument_resolver_t& arg(std::string_view value)
    {
        m_arguments.emplace_back(value);
        return *this;
    }

    /// The text with the arguments put in; arguments are not searched for places again.
    std::string resolve() const;

private:
    std::string m_text;
    std::vector<std::string> m_arguments;
};

} // namespace toolbelt2::internal
