// Decoding of all records but samples, and their way into a sink.
#pragma once

#include "perfdata/record_sink.h"
#include "perfdata/record_stream.h"
#include "perfdata/sample_layout.h"

#include <cstdint>
#include <vector>

namespace samplefold::perfdata {

/// Decodes records of one recording. Not thread-safe: the locator remembers its last answer.
class RecordDecoder {
public:
    /// Both references must outlive the object.
    RecordDecoder(const std::vector<Event>& events, RecordLocator& locator)
        : m_events(events), m_locator(locator)
    {
    }

    /// Decodes `record` (with the raw bytes that follow it in the stream) and passes it to the
    /// sink's operation for its type. False, without a call, when its fields overrun its size.
    [[nodiscard]] bool dispatch(const RecordView& record, std::uint64_t offset, RecordSink& sink);

private:
    [[nodiscard]] ByteReader openBody(const RecordView& record, std::uint64_t offset,
                                      RecordBase& base);
    bool dispatchKernel(const RecordView& record, std::uint64_t offset, RecordSink& sink);
    bool dispatchSynthetic(const RecordView& record, std::uint64_t offset, RecordSink& sink);

    template <class Record>
    bool decodeAndPass(const RecordView& record, std::uint64_t offset, RecordSink& sink,
                       bool (*decode)(ByteReader&, Record&),
                       void (RecordSink::*pass)(const Record&));

    const std::vector<Event>& m_events;
    RecordLocator& m_locator;
};

} // namespace samplefold::perfdata
