#include "perfdata/sample_layout.h"

#include <algorithm>
#include <bit>

namespace samplefold::perfdata {

namespace {

constexpr std::uint64_t fixedFields = sampleBit::Identifier | sampleBit::Ip | sampleBit::Tid |
                                      sampleBit::Time | sampleBit::Addr | sampleBit::Id |
                                      sampleBit::StreamId | sampleBit::Cpu | sampleBit::Period;
constexpr std::uint64_t trailerFields = sampleBit::Tid | sampleBit::Time | sampleBit::Id |
                                        sampleBit::StreamId | sampleBit::Cpu |
                                        sampleBit::Identifier;

std::uint32_t bytesOf(std::uint64_t fields)
{
    return 8u * static_cast<std::uint32_t>(std::popcount(fields));
}

std::uint32_t positionOfTime(std::uint64_t type)
{
    if ((type & sampleBit::Time) == 0) return SampleLayout::none;
    return bytesOf(type & (sampleBit::Identifier | sampleBit::Ip | sampleBit::Tid));
}

std::uint32_t positionOfId(std::uint64_t type)
{
    if ((type & sampleBit::Identifier) != 0) return 0;
    if ((type & sampleBit::Id) == 0) return SampleLayout::none;
    return bytesOf(type & (sampleBit::Ip | sampleBit::Tid | sampleBit::Time | sampleBit::Addr));
}

/// The trailer ends the record, so its fields are found from the end: time, id, stream, CPU,
/// identifier.
std::uint32_t trailerTimeFromEnd(std::uint64_t type)
{
    if ((type & sampleBit::Time) == 0) return SampleLayout::none;
    return 8 + bytesOf(type & (sampleBit::Id | sampleBit::StreamId | sampleBit::Cpu |
                               sampleBit::Identifier));
}

std::uint32_t trailerIdFromEnd(std::uint64_t type)
{
    if ((type & sampleBit::Identifier) != 0) return 8;
    if ((type & sampleBit::Id) == 0) return SampleLayout::none;
    return 8 + bytesOf(type & (sampleBit::StreamId | sampleBit::Cpu));
}

void addDistinct(std::vector<std::uint32_t>& values, std::uint32_t value)
{
    if (value != SampleLayout::none &&
        std::find(values.begin(), values.end(), value) == values.end())
        values.push_back(value);
}

} // namespace

SampleLayout::SampleLayout(const EventAttr& attr)
    : sampleType(attr.sampleType), fixedSize(bytesOf(attr.sampleType & fixedFields)),
      timeAt(positionOfTime(attr.sampleType)), idAt(positionOfId(attr.sampleType)),
      hasTrailer(attr.has(attrBit::SampleIdAll)),
      trailerSize(hasTrailer ? bytesOf(attr.sampleType & trailerFields) : 0),
      trailerTimeBack(hasTrailer ? trailerTimeFromEnd(attr.sampleType) : none),
      trailerIdBack(hasTrailer ? trailerIdFromEnd(attr.sampleType) : none)
{
}

RecordLocator::RecordLocator(const EventTable& table) : m_ids(table.ids())
{
    bool sameType = true;
    for (const Event& event : table.events()) {
        const SampleLayout& layout = m_layouts.emplace_back(event.attr);
        addDistinct(m_idPositions, layout.idAt);
        addDistinct(m_trailerIdBacks, layout.trailerIdBack);
        sameType = sameType && layout.sampleType == m_layouts.front().sampleType;
        if (layout.hasTrailer && m_firstTrailerEvent == unknown) m_firstTrailerEvent = event.index;
    }
    const bool idsUsable = !m_ids.empty() && !m_idPositions.empty();
    if (m_layouts.size() == 1 || (!m_layouts.empty() && sameType && !idsUsable))
        m_onlySampleEvent = 0;
}

std::uint32_t RecordLocator::findId(std::uint64_t id) noexcept
{
    if (id == m_lastId) return m_lastEvent;
    m_lastId = id;
    m_lastEvent = id == 0 ? unknown : m_ids.find(id);
    return m_lastEvent;
}

std::uint32_t RecordLocator::sampleEvent(const RecordView& record) noexcept
{
    return m_onlySampleEvent != unknown ? m_onlySampleEvent : sampleEventById(record);
}

std::uint32_t RecordLocator::sampleEventById(const RecordView& record) noexcept
{
    // Events of one file may keep their ids at different places: an answer counts only when the
    // event found keeps its id where it was found.
    for (const std::uint32_t at : m_idPositions) {
        if (record.bodySize() < at + 8) continue;
        const std::uint32_t event = findId(loadAt<std::uint64_t>(record.body() + at));
        if (event != unknown && m_layouts[event].idAt == at) return event;
    }
    return unknown;
}

std::uint32_t RecordLocator::trailerEvent(const RecordView& record) noexcept
{
    if (m_firstTrailerEvent == unknown || !record.isFromKernel() || m_layouts.size() == 1)
        return record.isFromKernel() ? m_firstTrailerEvent : unknown;
    for (const std::uint32_t back : m_trailerIdBacks) {
        if (record.bodySize() < back) continue;
        const std::uint32_t event =
            findId(loadAt<std::uint64_t>(record.start + record.size - back));
        if (event != unknown && m_layouts[event].trailerIdBack == back) return event;
    }
    return m_firstTrailerEvent; // synthesised records have the id 0
}

std::uint64_t RecordLocator::timeOf(const RecordView& record) noexcept
{
    if (record.kind() == RecordType::Sample) {
        const std::uint32_t event = sampleEvent(record);
        if (event == unknown) return 0;
        const std::uint32_t at = m_layouts[event].timeAt;
        return at != SampleLayout::none && at + 8 <= record.bodySize()
                   ? loadAt<std::uint64_t>(record.body() + at)
                   : 0;
    }
    const std::uint32_t event = trailerEvent(record);
    if (event == unknown) return 0;
    const std::uint32_t back = m_layouts[event].trailerTimeBack;
    return back != SampleLayout::none && back <= record.bodySize()
               ? loadAt<std::uint64_t>(record.start + record.size - back)
               : 0;
}

} // namespace samplefold::perfdata
