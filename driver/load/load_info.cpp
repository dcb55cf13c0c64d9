#include "load/load_info.h"

#include <algorithm>
#include <charconv>

namespace samplefold::load {

void LoadInfo::begin()
{
    add("loads", 1);
}

std::uint32_t LoadInfo::loads() const
{
    return static_cast<std::uint32_t>(number("loads").value_or(0));
}

void LoadInfo::set(const std::string& key, const std::string& value)
{
    if (value.empty()) return;
    const std::uint32_t load = loads();
    m_store.setInfo(load > 1 ? key + " of load " + std::to_string(load) : key, value);
}

void LoadInfo::add(const std::string& key, std::uint64_t more)
{
    m_store.setInfo(key, std::to_string(number(key).value_or(0) + more));
}

void LoadInfo::widenTimes(const std::optional<std::pair<std::uint64_t, std::uint64_t>>& range)
{
    m_store.setInfo("ticks", range ? "recorded" : "numbered");
    if (!range) return;
    const std::uint64_t first = number("first_time").value_or(range->first);
    const std::uint64_t last = lastTick().value_or(range->second);
    m_store.setInfo("first_time", std::to_string(std::min(first, range->first)));
    m_store.setInfo("last_time", std::to_string(std::max(last, range->second)));
}

std::optional<std::uint64_t> LoadInfo::number(const std::string& key) const
{
    const std::string text = m_store.info(key);
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} ? std::optional(number) : std::nullopt;
}

} // namespace samplefold::load
