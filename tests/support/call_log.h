#pragma once

#include <toolbelt2/variant.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace samplefold_test {

/// Every call that the objects of one fake store received, a line each, in the order of the calls.
class CallLog {
public:
    void add(std::string line) { m_lines.push_back(std::move(line)); }
    /// The lines since the last call of this.
    std::vector<std::string> take() { return std::exchange(m_lines, {}); }
    /// The lines that begin with `prefix`; none is taken away.
    std::vector<std::string> startingWith(const std::string& prefix) const
    {
        std::vector<std::string> found;
        for (const std::string& line : m_lines) {
            if (line.starts_with(prefix)) found.push_back(line);
        }
        return found;
    }

private:
    std::vector<std::string> m_lines;
};

using log_ptr_t = std::shared_ptr<CallLog>;
using lines_t = std::vector<std::string>;

/// A value with its kind, as in "s32:-1", "u64:7", "null".
inline std::string show(const tb2::variant_t& value)
{
    using kind_t = tb2::variant_t::kind_t;
    const auto asUnsigned = [&] { return std::to_string(value.integer_bits()); };
    const auto asSigned = [&] {
        return std::to_string(static_cast<std::int64_t>(value.integer_bits()));
    };
    switch (value.kind()) {
    case kind_t::null:
        return "null";
    case kind_t::u16:
        return "u16:" + asUnsigned();
    case kind_t::s32:
        return "s32:" + asSigned();
    case kind_t::u32:
        return "u32:" + asUnsigned();
    case kind_t::s64:
        return "s64:" + asSigned();
    case kind_t::u64:
        return "u64:" + asUnsigned();
    case kind_t::real:
        return "real:" + std::to_string(value.as_double());
    case kind_t::text:
        return "text:" + std::string(value.as_text());
    }
    return "?";
}

} // namespace samplefold_test
