#include <toolbelt2/variant_bag.h>

#include <algorithm>

namespace toolbelt2 {

variant_bag_t::variant_bag_t() = default;
variant_bag_t::~variant_bag_t() = default;
variant_bag_t::variant_bag_t(variant_bag_t&&) noexcept = default;
variant_bag_t& variant_bag_t::operator=(variant_bag_t&&) noexcept = default;

void variant_bag_t::put(std::string_view key, const variant_t& value)
{
    m_entries.push_back({std::string(key), value, nullptr});
}

variant_bag_t& variant_bag_t::put_bag(std::string_view key)
{
    m_entries.push_back({std::string(key), variant_t(), std::make_unique<variant_bag_t>()});
    return *m_entries.back().bag;
}

const variant_t* variant_bag_t::get(std::string_view key) const noexcept
{
    const auto found =
        std::find_if(m_entries.begin(), m_entries.end(), [key](const entry_t& entry) {
            return entry.bag == nullptr && entry.key == key;
        });
    return found != m_entries.end() ? &found->value : nullptr;
}

variant_bag_t::bag_iterator_t::bag_iterator_t(const variant_bag_t& bag, std::string_view key)
    : m_bag(&bag), m_key(key)
{
    skipOthers();
}

bool variant_bag_t::bag_iterator_t::atEnd() const noexcept
{
    return m_at >= m_bag->m_entries.size();
}

const variant_bag_t& variant_bag_t::bag_iterator_t::current() const noexcept
{
    return *m_bag->m_entries[m_at].bag;
}

void variant_bag_t::bag_iterator_t::next() noexcept
{
    ++m_at;
    skipOthers();
}

void variant_bag_t::bag_iterator_t::skipOthers() noexcept
{
    for (; !atEnd(); ++m_at) {
        const entry_t& entry = m_bag->m_entries[m_at];
        if (entry.bag != nullptr && entry.key == m_key) return;
    }
}

} // namespace toolbelt2
