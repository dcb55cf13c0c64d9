#include "session/address_space.h"

#include <algorithm>
#include <utility>

namespace samplefold::session {

using samplefold_1::SegInstInfo;

void AddressSpace::map(const Mapping& mapping, std::uint64_t time)
{
    if (mapping.start <= mapping.last) m_events.push_back({Kind::map, time, mapping});
}

void AddressSpace::unmap(std::uint64_t start, std::uint64_t time)
{
    Mapping mapping;
    mapping.start = start;
    m_events.push_back({Kind::unmap, time, mapping});
}

void AddressSpace::unmapAll(std::uint64_t time)
{
    m_events.push_back({Kind::unmapAll, time, {}});
}

void AddressSpace::inherit(AddressSpace& parent, std::uint64_t time, InheritanceRoom& room)
{
    m_parent = &parent;
    m_room = &room;
    m_events.push_back({Kind::inherit, time, {}});
}

bool AddressSpace::find(std::uint64_t address, std::uint64_t time, Place& place)
{
    if (m_state != State::built) build();
    const SegInstInfo* const info = m_map.findSegInst(address, time);
    if (info == nullptr) return false;
    place.entry = static_cast<std::size_t>(info - m_map.values.data());
    place.segment = m_origins[place.entry].segment;
    place.start = m_origins[place.entry].start;
    place.loadTime = info->loadTime;
    place.rva = address - info->low() + info->offsetInFile;
    return true;
}

/// Parents first, without recursion: a profile may tell a very long line of forks, or one in a
/// circle.
void AddressSpace::build()
{
    std::vector<AddressSpace*> line;
    for (AddressSpace* space = this; space != nullptr && space->m_state == State::told;
         space = space->m_parent) {
        space->m_state = State::underWay;
        line.push_back(space);
    }
    for (auto space = line.rbegin(); space != line.rend(); ++space)
        (*space)->replay();
}

void AddressSpace::replay()
{
    for (const Event& event : m_events)
        apply(event);
    std::exchange(m_events, {});
    std::exchange(m_active, {});
    std::exchange(m_latest, {});
    m_state = State::built;
}

void AddressSpace::apply(const Event& event)
{
    switch (event.kind) {
    case Kind::map:
        applyMap(event.mapping, event.mapping.start, event.time);
        break;
    case Kind::inherit:
        applyInheritance(event.time);
        break;
    case Kind::unmap: {
        const auto [first, end] = m_active.equal_range(event.mapping.start);
        for (auto it = first; it != end; ++it) {
            endEntry(it->second, event.time);
            forgetLatest(it->second);
        }
        m_active.erase(first, end);
        break;
    }
    case Kind::unmapAll:
        for (const auto& [start, entry] : m_active)
            endEntry(entry, event.time);
        m_active.clear();
        m_latest.clear();
        break;
    }
}

void AddressSpace::applyMap(const Mapping& mapping, std::uint64_t low, std::uint64_t time)
{
    if (time != m_latestTime) m_latest.clear();
    m_latestTime = time;
    cutBack(low, mapping.last);
    SegInstInfo info;
    info.lowAddress = low;
    info.highAddress = mapping.last;
    info.loadTime = time;
    info.unloadTime = never;
    info.modulePath = *mapping.path;
    info.offsetInFile = mapping.offset + (low - mapping.start);
    add(std::move(info), {mapping.start, mapping.segment});
}

void AddressSpace::applyInheritance(std::uint64_t time)
{
    if (m_parent->m_state != State::built) return; // a circle of forks ends here
    const auto& values = m_parent->m_map.values;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!values[i].isValidAt(time)) continue;
        if (m_room->left == 0) {
            ++m_room->refused;
            continue;
        }
        --m_room->left;
        const Origin& origin = m_parent->m_origins[i];
        const std::uint64_t offset = values[i].offsetInFile - (values[i].low() - origin.start);
        applyMap({origin.start, values[i].high(), offset, origin.segment, &values[i].modulePath},
                 values[i].low(), time);
    }
}

void AddressSpace::add(SegInstInfo info, const Origin& origin)
{
    const std::size_t entry = m_map.values.size();
    m_latest[info.low()] = entry;
    m_active.emplace(origin.start, entry);
    m_map.values.push_back(std::move(info));
    m_origins.push_back(origin);
}

/// Takes [first, last] away from the mappings made at the same tick; what is left of one on both
/// sides becomes two.
void AddressSpace::cutBack(std::uint64_t first, std::uint64_t last)
{
    auto it = m_latest.upper_bound(first);
    if (it != m_latest.begin()) --it;
    while (it != m_latest.end() && it->first <= last) {
        const std::size_t entry = it->second;
        const SegInstInfo old = m_map.values[entry];
        if (old.high() < first) {
            ++it;
            continue;
        }
        it = m_latest.erase(it);
        if (old.high() > last) {
            SegInstInfo above = old;
            above.lowAddress = last + 1;
            above.offsetInFile += above.low() - old.low();
            add(std::move(above), m_origins[entry]);
        }
        if (old.low() < first) {
            m_map.values[entry].highAddress = first - 1;
            m_latest[old.low()] = entry;
        } else {
            m_map.values[entry].unloadTime = old.loadTime; // nothing is left: it holds at no time
        }
        it = m_latest.upper_bound(std::max(old.low(), first));
    }
}

/// An entry of which nothing was left has ended already.
void AddressSpace::endEntry(std::size_t entry, std::uint64_t time)
{
    SegInstInfo& info = m_map.values[entry];
    if (info.unloadTime == never) info.unloadTime = time;
}

void AddressSpace::forgetLatest(std::size_t entry)
{
    const auto it = m_latest.find(m_map.values[entry].low());
    if (it != m_latest.end() && it->second == entry) m_latest.erase(it);
}

} // namespace samplefold::session
