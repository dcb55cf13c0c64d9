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
    if (info == nullptr || isHidden(address, time, info->loadTime)) return false;
    place.entry = static_cast<std::size_t>(info - m_map.values.data());
    place.segment = m_origins[place.entry].segment;
    place.start = m_origins[place.entry].start;
    place.loadTime = info->loadTime;
    place.rva = address - info->low() + info->offsetInFile;
    place.hasImage = m_origins[place.entry].hasImage;
    place.path = m_origins[place.entry].path;
    return true;
}

bool AddressSpace::cutAt(const std::vector<std::uint64_t>& addresses, std::uint64_t& room)
{
    const std::size_t whole = m_map.values.size();
    for (std::size_t i = 0; i < whole; ++i) {
        const std::uint64_t high = m_map.values[i].high();
        auto cut = std::upper_bound(addresses.begin(), addresses.end(), m_map.values[i].low());
        std::size_t below = i; // what the next cut divides
        for (; cut != addresses.end() && *cut <= high; ++cut) {
            if (room == 0) return false;
            --room;
            SegInstInfo above = m_map.values[below];
            above.offsetInFile += *cut - above.low();
            above.lowAddress = *cut;
            m_map.values[below].highAddress = *cut - 1;
            below = m_map.values.size();
            m_map.values.push_back(std::move(above));
            m_origins.push_back(m_origins[i]);
        }
    }
    return true;
}

/// Mappings of one tick do not overlap, so that only a later one can hide.
bool AddressSpace::isHidden(std::uint64_t address, std::uint64_t time, std::uint64_t loadTime)
{
    if (m_plain.values.empty()) return false;
    const SegInstInfo* const plain = m_plain.findSegInst(address, time);
    return plain != nullptr && plain->loadTime > loadTime;
}

const TickSpan& AddressSpace::steadySpan(std::uint64_t time)
{
    if (m_steady.holds(time)) return m_steady;
    if (m_state != State::built) build();
    if (m_changes.empty()) collectChanges();
    const auto next = std::upper_bound(m_changes.begin(), m_changes.end(), time);
    m_steady.until = next != m_changes.end() ? *next : never;
    m_steady.from = next != m_changes.begin() ? *std::prev(next) : 0;
    return m_steady;
}

void AddressSpace::collectChanges()
{
    for (const auto* const map : {&m_map, &m_plain}) {
        for (const SegInstInfo& info : map->values) {
            m_changes.push_back(info.loadTime);
            m_changes.push_back(info.unloadTime);
        }
    }
    m_changes.push_back(0);
    std::sort(m_changes.begin(), m_changes.end());
    m_changes.erase(std::unique(m_changes.begin(), m_changes.end()), m_changes.end());
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
    if (m_leaveOutPlain) takeOutPlainMemory();
    m_state = State::built;
}

void AddressSpace::takeOutPlainMemory()
{
    std::vector<SegInstInfo> kept;
    std::vector<Origin> keptOrigins;
    for (std::size_t i = 0; i < m_origins.size(); ++i) {
        const bool isKept = m_origins[i].hasImage;
        (isKept ? kept : m_plain.values).push_back(std::move(m_map.values[i]));
        (isKept ? keptOrigins : m_plainOrigins).push_back(m_origins[i]);
    }
    m_map.values = std::move(kept);
    m_origins = std::move(keptOrigins);
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
    info.offsetInFile = mapping.offset + (low - mapping.start);
    // The path is not copied: many entries may share a very long one.
    add(std::move(info), {mapping.start, mapping.segment, mapping.hasImage, mapping.path});
}

void AddressSpace::applyInheritance(std::uint64_t time)
{
    if (m_parent->m_state != State::built) return; // a circle of forks ends here
    if (m_room->left == 0) { // all that the parent ever had: looking through it would take its time
        m_room->refused += m_parent->m_map.values.size() + m_parent->m_plain.values.size();
        return;
    }
    for (const auto& [info, origin] : m_parent->entriesAt(time)) {
        if (m_room->left == 0) {
            ++m_room->refused;
            continue;
        }
        --m_room->left;
        const std::uint64_t offset = info->offsetInFile - (info->low() - origin->start);
        applyMap(
            {origin->start, info->high(), offset, origin->segment, origin->path, origin->hasImage},
            info->low(), time);
    }
}

/// In the order of loading, so that what hides another comes behind it.
std::vector<AddressSpace::entry_t> AddressSpace::entriesAt(std::uint64_t time) const
{
    std::vector<entry_t> entries;
    const auto collect = [&](const auto& values, const std::vector<Origin>& origins) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (values[i].isValidAt(time)) entries.emplace_back(&values[i], &origins[i]);
        }
    };
    collect(m_map.values, m_origins);
    collect(m_plain.values, m_plainOrigins);
    std::stable_sort(entries.begin(), entries.end(), [](const entry_t& a, const entry_t& b) {
        return a.first->loadTime < b.first->loadTime;
    });
    return entries;
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
