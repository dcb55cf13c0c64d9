#include "timeline.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace jitlens_3_13 {

void Timeline::load(std::uint64_t time, std::uint64_t first, std::uint64_t size, std::uint32_t rva,
                    std::uint64_t index)
{
    const std::uint32_t added = add({first, first + (size - 1), time, g_forever, rva});
    const auto moved = m_rvaByIndex.find(index);
    if (moved == m_rvaByIndex.end()) return;
    moved->second = rva;
    m_newestByRva[rva] = added;
}

bool Timeline::move(std::uint64_t time, std::uint64_t oldFirst, std::uint64_t newFirst,
                    std::uint64_t size, std::uint64_t index)
{
    const std::uint32_t moved = findMoved(oldFirst, index);
    if (moved == g_none) return false;
    const version_t old = m_versions[moved];
    const auto live = m_live.find(oldFirst);
    if (live != m_live.end() && live->second == moved) {
        m_versions[moved].unloadTime = time;
        m_live.erase(live);
    }
    // Bytes are known for what was loaded only.
    const std::uint64_t length = std::min(size - 1, old.last - old.first);
    const std::uint32_t added = add({newFirst, newFirst + length, time, g_forever, old.rva});
    const auto newest = m_newestByRva.find(old.rva);
    if (newest != m_newestByRva.end()) newest->second = added;
    return true;
}

std::vector<version_t> Timeline::take()
{
    std::erase_if(m_versions, [](const version_t& v) { return v.unloadTime <= v.loadTime; });
    return std::move(m_versions);
}

std::uint32_t Timeline::add(const version_t& version)
{
    endOverlapped(version.loadTime, version.first, version.last);
    const auto added = static_cast<std::uint32_t>(m_versions.size());
    m_versions.push_back(version);
    m_live.emplace(version.first, added);
    return added;
}

void Timeline::endOverlapped(std::uint64_t time, std::uint64_t first, std::uint64_t last)
{
    auto next = m_live.upper_bound(first);
    if (next != m_live.begin() && m_versions[std::prev(next)->second].last >= first) --next;
    while (next != m_live.end() && next->first <= last) {
        m_versions[next->second].unloadTime = time;
        next = m_live.erase(next);
    }
}

std::uint32_t Timeline::findMoved(std::uint64_t oldFirst, std::uint64_t index) const
{
    // The index first: code that was loaded or moved over the old place a little earlier has
    // already ended the function there, and is not what moves.
    const auto rva = m_rvaByIndex.find(index);
    if (rva != m_rvaByIndex.end() && rva->second != g_unknownRva) {
        const std::uint32_t newest = m_newestByRva.at(rva->second);
        if (m_versions[newest].first == oldFirst) return newest;
    }
    const auto live = m_live.find(oldFirst);
    return live == m_live.end() ? g_none : live->second;
}

} // namespace jitlens_3_13
