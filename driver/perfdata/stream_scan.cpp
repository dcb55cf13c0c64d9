#include "perfdata/stream_scan.h"

#include "perfdata/feature_parser.h"
#include "perfdata/sample_layout.h"

#include <algorithm>

namespace samplefold::perfdata {

namespace {

constexpr std::uint64_t blockBytes = std::uint64_t{1} << 20;
constexpr std::size_t rareTypeLimit = 4096;

bool isCompressedType(const RecordView& record)
{
    return record.kind() == RecordType::Compressed || record.kind() == RecordType::Compressed2;
}

/// Keeps the time bounds of the blocks up to date while their records pass by.
class TimeBounds {
public:
    explicit TimeBounds(ScanResult& result) : m_result(result) {}

    /// Opens a new block when the last one is full; true when it did.
    bool openBlock(std::uint64_t position)
    {
        if (!m_result.blocks.empty() && position - m_result.blocks.back().begin < blockBytes)
            return false;
        Block& block = m_result.blocks.emplace_back();
        block.begin = position;
        m_last = 0;
        return true;
    }

    void add(std::uint64_t time)
    {
        if (time == 0) return;
        Block& block = m_result.blocks.back();
        block.lowestTime = std::min(block.lowestTime, time);
        block.ascending = block.ascending && time >= m_last;
        m_last = time;
        m_result.lowestTime = std::min(m_result.lowestTime, time);
        m_result.highestTime = std::max(m_result.highestTime, time);
    }

private:
    ScanResult& m_result;
    std::uint64_t m_last = 0;
};

} // namespace

void CountTable::add(std::uint32_t type, std::uint64_t bytes)
{
    const bool isCommon = type < std::size(m_common);
    if (!isCommon && m_rare.size() >= rareTypeLimit && !m_rare.contains(type)) type = sharedType;
    RecordCount& count = isCommon ? m_common[type] : m_rare[type];
    count.type = type;
    ++count.count;
    count.bytes += bytes;
}

std::vector<RecordCount> CountTable::ascending() const
{
    std::vector<RecordCount> all;
    for (const RecordCount& count : m_common)
        if (count.count != 0) all.push_back(count);
    for (const auto& [type, count] : m_rare)
        all.push_back(count);
    std::sort(all.begin(), all.end(),
              [](const RecordCount& a, const RecordCount& b) { return a.type < b.type; });
    return all;
}

StreamScanner::StreamScanner(std::span<const std::byte> stream, EventTable& events,
                             Features& features, CountTable& counts,
                             std::vector<std::string>& notes)
    : m_stream(stream), m_events(events), m_features(features), m_counts(counts), m_notes(notes)
{
}

ScanResult StreamScanner::scan(bool stopAtCompressed, const OnBlock& onBlock)
{
    ScanResult result;
    TimeBounds bounds(result);
    std::optional<RecordLocator> locator;
    std::uint64_t locatorRevision = 0;
    bool boundsAreStale = false;
    RecordView record;
    std::uint64_t extent = 0;
    for (std::uint64_t position = 0; position < m_stream.size(); position += extent) {
        if (const char* what = checkRecord(m_stream, position, record, extent)) {
            result.fault = StreamFault{position, what};
            break;
        }
        if (stopAtCompressed && isCompressedType(record)) {
            result.isCompressed = true;
            return result;
        }
        if (bounds.openBlock(position)) onBlock(position);
        m_counts.add(record.type, extent);
        result.end = position + extent;
        if (!record.isFromKernel()) {
            collect(record, extent, position);
            continue;
        }
        if (!locator) {
            locator.emplace(m_events);
            locatorRevision = m_events.revision();
        }
        if (locatorRevision == m_events.revision())
            bounds.add(locator->timeOf(record));
        else
            boundsAreStale = true;
    }
    // Events that were defined after some of their records: measure again with all that is known
    // now.
    if (boundsAreStale || (locator && locatorRevision != m_events.revision()))
        findTimeBounds(result, onBlock);
    if (m_badDefinitions != 0)
        m_notes.push_back(std::to_string(m_badDefinitions) +
                          " records that define events, ids or build ids are damaged, "
                          "the first at position " +
                          std::to_string(m_firstBadAt) + " of the records: left out");
    return result;
}

void StreamScanner::findTimeBounds(ScanResult& result, const OnBlock& onBlock) const
{
    result.blocks.clear();
    result.lowestTime = noTime;
    result.highestTime = 0;
    TimeBounds bounds(result);
    RecordLocator locator(m_events);
    RecordView record;
    std::uint64_t extent = 0;
    for (std::uint64_t position = 0; position < result.end; position += extent) {
        if (checkRecord(m_stream, position, record, extent) != nullptr)
            return; // not reached: the records up to the end were checked before
        if (bounds.openBlock(position)) onBlock(position);
        if (record.isFromKernel()) bounds.add(locator.timeOf(record));
    }
}

void StreamScanner::collect(const RecordView& record, std::uint64_t extent, std::uint64_t position)
{
    if (collectDefinition(record, extent)) return;
    if (m_badDefinitions++ == 0) m_firstBadAt = position;
}

bool StreamScanner::collectDefinition(const RecordView& record, std::uint64_t extent)
{
    ByteReader body(record.bodyBytes());
    switch (record.kind()) {
    case RecordType::HeaderAttr:
        return m_events.addAttrRecord(record.bodyBytes());
    case RecordType::EventUpdate:
        return m_events.applyUpdate(record.bodyBytes());
    case RecordType::IdIndex:
        return m_events.addIdIndex(record.bodyBytes());
    case RecordType::EventType:
        m_events.addEventTypes(record.bodyBytes());
        return true;
    case RecordType::TracingData: {
        const std::span<const std::byte> data(record.start + record.size,
                                              static_cast<std::size_t>(extent) - record.size);
        readFeature(static_cast<std::uint32_t>(FeatureId::TracingData), data, m_features, m_events,
                    m_notes);
        return true;
    }
    case RecordType::HeaderFeature: {
        const auto feature = body.take<std::uint64_t>();
        if (body.ok() && feature <= UINT32_MAX)
            readFeature(static_cast<std::uint32_t>(feature), body.bytes(body.left()), m_features,
                        m_events, m_notes);
        return body.ok();
    }
    case RecordType::BuildId: {
        BuildIdRecord found;
        if (!parseBuildId(record.misc, record.bodyBytes(), found)) return false;
        m_features.buildIds.push_back(ownedBuildId(found));
        return true;
    }
    default:
        return true;
    }
}

} // namespace samplefold::perfdata
