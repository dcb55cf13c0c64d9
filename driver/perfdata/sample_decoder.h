// Decoding of sample records.
#pragma once

#include "perfdata/byte_reader.h"
#include "perfdata/sample.h"
#include "perfdata/sample_layout.h"

#include <cstdint>
#include <vector>

namespace samplefold::perfdata {

/// Decodes samples into one Sample per event that is used again and again: what an event does not
/// sample keeps its default for ever, what it samples is overwritten each time. Not thread-safe.
class SampleDecoder {
public:
    explicit SampleDecoder(const std::vector<Event>& events);

    /// The sample in `record`, of event `event`; null when its fields overrun the record. The
    /// result is valid until the next call, its spans as long as the record's bytes.
    [[nodiscard]] const Sample* decode(const RecordView& record, std::uint32_t event,
                                       const SampleLayout& layout, std::uint64_t offset) noexcept;

private:
    std::vector<Sample> m_samples;
};

/// Reads a READ part in the given format from `reader`, which fails when it is cut.
[[nodiscard]] ReadValues takeReadValues(ByteReader& reader, std::uint64_t readFormat) noexcept;

} // namespace samplefold::perfdata
