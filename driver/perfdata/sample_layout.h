// Where things lie in samples and in the sample-id trailers of other records, worked out once per
// event, and how a record finds its event and its time.
#pragma once

#include "perfdata/event_table.h"
#include "perfdata/record_stream.h"

#include <cstdint>
#include <span>
#include <vector>

namespace samplefold::perfdata {

/// Positions of one event's fields, in bytes; none where the field is missing.
struct SampleLayout {
    static constexpr std::uint32_t none = UINT32_MAX;

    explicit SampleLayout(const EventAttr& attr);

    std::uint64_t sampleType = 0;
    std::uint32_t fixedSize = 0; ///< of the leading fields of fixed size, from the body's start
    std::uint32_t timeAt = none; ///< from the body's start
    std::uint32_t idAt = none;   ///< from the body's start
    bool hasTrailer = false;
    std::uint32_t trailerSize = 0;
    std::uint32_t trailerTimeBack = none; ///< from the record's end, backwards
    std::uint32_t trailerIdBack = none;   ///< from the record's end, backwards
};

/// Finds events and times for records. Built from a table and valid as long as the table does not
/// change. Lookups remember the last answer, so use one object per thread.
class RecordLocator {
public:
    explicit RecordLocator(const EventTable& table);

    static constexpr std::uint32_t unknown = IdMap::none;

    /// Index of the event of a sample; unknown when its id is not known.
    [[nodiscard]] std::uint32_t sampleEvent(const RecordView& record) noexcept;
    /// Index of the event whose trailer ends the record; unknown when it has no trailer.
    [[nodiscard]] std::uint32_t trailerEvent(const RecordView& record) noexcept;
    /// Time by which the record is ordered; 0: it has none.
    [[nodiscard]] std::uint64_t timeOf(const RecordView& record) noexcept;
    [[nodiscard]] const SampleLayout& layout(std::uint32_t event) const noexcept
    {
        return m_layouts[event];
    }

private:
    [[nodiscard]] std::uint32_t findId(std::uint64_t id) noexcept;
    [[nodiscard]] std::uint32_t sampleEventById(const RecordView& record) noexcept;

    const IdMap& m_ids;
    std::vector<SampleLayout> m_layouts;
    std::vector<std::uint32_t> m_idPositions;    ///< distinct SampleLayout::idAt
    std::vector<std::uint32_t> m_trailerIdBacks; ///< distinct SampleLayout::trailerIdBack
    std::uint32_t m_onlySampleEvent = unknown;   ///< set when no id is needed or usable
    std::uint32_t m_firstTrailerEvent = unknown;
    std::uint64_t m_lastId = 0;
    std::uint32_t m_lastEvent = unknown;
};

} // namespace samplefold::perfdata
