#include "perfdata/event_table.h"

#include "perfdata/cpu_map.h"
#include "perfdata/event_names.h"
#include "perfdata/records.h"

#include <algorithm>
#include <bit>

namespace samplefold::perfdata {

namespace {

constexpr std::uint32_t oldestAttrSize = 64;
constexpr std::uint64_t idsSectionSize = 16;
constexpr std::size_t eventTypeNameSize = 64;
constexpr std::uint32_t updateUnit = 0;
constexpr std::uint32_t updateScale = 1;
constexpr std::uint32_t updateName = 2;
constexpr std::uint32_t updateCpus = 3;

} // namespace

bool parseAttr(const std::byte* bytes, std::size_t room, EventAttr& attr)
{
    if (room < oldestAttrSize) return false;
    const auto given = loadAt<std::uint32_t>(bytes + 4);
    const std::uint32_t size = given == 0 ? oldestAttrSize : given;
    if (size < oldestAttrSize || size > room) return false;
    ByteReader reader(bytes, size);
    attr.type = reader.take<std::uint32_t>();
    reader.skip(4);
    attr.size = size;
    attr.config = reader.take<std::uint64_t>();
    attr.samplePeriodOrFreq = reader.take<std::uint64_t>();
    attr.sampleType = reader.take<std::uint64_t>();
    attr.readFormat = reader.take<std::uint64_t>();
    attr.flags = reader.take<std::uint64_t>();
    attr.wakeup = reader.take<std::uint32_t>();
    attr.breakpointType = reader.take<std::uint32_t>();
    attr.config1 = reader.take<std::uint64_t>();
    // From here on older attributes end earlier; what is missing reads as 0.
    attr.config2 = reader.take<std::uint64_t>();
    attr.branchSampleType = reader.take<std::uint64_t>();
    attr.sampleRegsUser = reader.take<std::uint64_t>();
    attr.sampleStackUser = reader.take<std::uint32_t>();
    attr.clockid = reader.take<std::int32_t>();
    attr.sampleRegsIntr = reader.take<std::uint64_t>();
    attr.auxWatermark = reader.take<std::uint32_t>();
    attr.sampleMaxStack = reader.take<std::uint16_t>();
    reader.skip(2);
    attr.auxSampleSize = reader.take<std::uint32_t>();
    attr.auxAction = reader.take<std::uint32_t>();
    attr.sigData = reader.take<std::uint64_t>();
    attr.config3 = reader.take<std::uint64_t>();
    return true;
}

void IdMap::add(std::uint64_t id, std::uint32_t event)
{
    if (find(id) != none) return;
    if ((m_count + 1) * 2 > m_slots.size()) grow();
    std::size_t at = home(id);
    while (m_slots[at].event != none)
        at = (at + 1) & (m_slots.size() - 1);
    m_slots[at] = {id, event};
    ++m_count;
}

void IdMap::grow()
{
    std::vector<Slot> old = std::move(m_slots);
    m_slots.assign(std::max<std::size_t>(64, old.size() * 2), Slot{});
    m_shift = 64u - static_cast<unsigned>(std::countr_zero(m_slots.size()));
    m_count = 0;
    for (const Slot& slot : old)
        if (slot.event != none) add(slot.id, slot.event);
}

Event& EventTable::append(const EventAttr& attr)
{
    Event& event = m_events.emplace_back();
    event.index = static_cast<std::uint32_t>(m_events.size() - 1);
    event.leader = event.index;
    event.attr = attr;
    ++m_revision;
    return event;
}

void EventTable::addSection(std::span<const std::byte> attrs, std::uint64_t entrySize,
                            std::span<const std::byte> input, std::vector<std::string>& notes)
{
    if (entrySize < oldestAttrSize + idsSectionSize || entrySize > attrs.size()) {
        if (!attrs.empty())
            notes.push_back("the attributes are said to have " + std::to_string(entrySize) +
                            " bytes each, which cannot be: they are left out");
        return;
    }
    // Every id has its own 8 bytes in an honest file; sections that share bytes could ask for any
    // amount.
    std::uint64_t idsLeft = input.size() / 8;
    for (std::uint64_t at = 0; at + entrySize <= attrs.size(); at += entrySize) {
        const std::byte* entry = attrs.data() + at;
        EventAttr attr;
        if (!parseAttr(entry, static_cast<std::size_t>(entrySize - idsSectionSize), attr)) {
            notes.push_back("attribute " + std::to_string(at / entrySize) +
                            " gives itself a size that cannot be: left out");
            return; // later ones would get wrong positions
        }
        const Event& event = append(attr);
        const auto offset = loadAt<std::uint64_t>(entry + entrySize - 16);
        const auto size = loadAt<std::uint64_t>(entry + entrySize - 8);
        if (offset > input.size() || size > input.size() - offset || size / 8 > idsLeft) {
            notes.push_back("the ids of attribute " + std::to_string(event.index) +
                            " lie outside of the file: left out");
            continue;
        }
        idsLeft -= size / 8;
        for (const std::uint64_t id :
             PackedSpan<std::uint64_t>(input.data() + offset, static_cast<std::size_t>(size / 8)))
            addId(event.index, id);
    }
}

bool EventTable::addAttrRecord(std::span<const std::byte> body)
{
    EventAttr attr;
    if (!parseAttr(body.data(), body.size(), attr)) return false;
    const Event& event = append(attr);
    const std::size_t idBytes = body.size() - attr.size;
    for (const std::uint64_t id : PackedSpan<std::uint64_t>(body.data() + attr.size, idBytes / 8))
        addId(event.index, id);
    return true;
}

void EventTable::addId(std::uint32_t event, std::uint64_t id)
{
    if (id == 0 || m_ids.find(id) != IdMap::none) return; // 0 is what synthesised records have
    m_ids.add(id, event);
    m_events[event].ids.push_back(id);
    ++m_revision;
}

bool EventTable::applyUpdate(std::span<const std::byte> body)
{
    ByteReader reader(body);
    const auto kind = reader.take<std::uint64_t>();
    const auto id = reader.take<std::uint64_t>();
    const std::uint32_t index = m_ids.find(id);
    if (!reader.ok() || index == IdMap::none) return false;
    Event& event = m_events[index];
    if (kind == updateUnit)
        event.unit = reader.restAsText();
    else if (kind == updateScale)
        event.scale = reader.take<double>();
    else if (kind == updateName)
        offerName(index, reader.restAsText(), NameSource::File);
    else if (kind == updateCpus)
        return decodeCpuMap(reader.bytes(reader.left()), event.cpus);
    return reader.ok();
}

bool EventTable::addIdIndex(std::span<const std::byte> body)
{
    ByteReader reader(body);
    const auto count = reader.take<std::uint64_t>();
    for (const IdIndexEntry entry : reader.array<IdIndexEntry>(count))
        if (entry.eventIndex < m_events.size())
            addId(static_cast<std::uint32_t>(entry.eventIndex), entry.id);
    return reader.ok();
}

void EventTable::addEventTypes(std::span<const std::byte> entries)
{
    ByteReader reader(entries);
    while (reader.left() >= 8 + eventTypeNameSize) {
        const auto number = reader.take<std::uint64_t>();
        m_eventTypes.emplace(number, std::string(reader.text(eventTypeNameSize)));
    }
}

void EventTable::offerName(std::uint32_t event, std::string_view name, NameSource source)
{
    if (event >= m_events.size() || name.empty()) return;
    Event& named = m_events[event];
    if (!named.name.empty() && named.nameSource <= source) return;
    named.name = name;
    named.nameSource = source;
}

void EventTable::completeNames()
{
    for (Event& event : m_events) {
        if (!event.name.empty()) continue;
        const auto old = m_eventTypes.find(event.attr.config);
        if (event.attr.type == static_cast<std::uint32_t>(EventType::Tracepoint) &&
            old != m_eventTypes.end())
            offerName(event.index, old->second, NameSource::File);
        if (event.name.empty())
            offerName(event.index, generatedEventName(event.attr), NameSource::Generated);
    }
}

} // namespace samplefold::perfdata
