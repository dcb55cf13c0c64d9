// Short cuts for tests that build their recordings.
#pragma once

#include "driver/perfdata/perf_file_builder.h"
#include "driver/perfdata/recorded_sink.h"
#include "perfdata/recording.h"

#include <cstdint>
#include <string>

namespace samplefold::perfdata::testing {

/// The sample type of most tests: 32 bytes of body.
inline constexpr std::uint64_t plainType =
    sampleBit::Ip | sampleBit::Tid | sampleBit::Time | sampleBit::Period;

inline AttrSpec plainEvent()
{
    AttrSpec spec;
    spec.sampleType = plainType;
    spec.flags = attrBit::SampleIdAll | attrBit::ExcludeGuest;
    return spec;
}

inline Bytes plainSample(std::uint64_t time, std::uint64_t ip = 0x1000)
{
    Bytes body;
    return body.u64(ip).u32(10).u32(11).u64(time).u64(1);
}

/// A command record with the trailer of plainEvent.
inline Bytes plainComm(std::uint64_t time, const char* name = "name")
{
    Bytes body;
    return body.u32(10).u32(11).paddedText(name).u32(10).u32(11).u64(time);
}

inline Recording open(const Bytes& bytes, const OpenOptions& options = {})
{
    return Recording::fromBytes(bytes.span(), "test", options);
}

/// What a delivery gives, with the recording its views point into.
struct Delivered {
    explicit Delivered(Bytes content, Deliver filter = Deliver::All)
        : bytes(std::move(content)), recording(open(bytes)),
          stats(recording.deliver(sink, {filter, {}}))
    {
    }

    Bytes bytes;
    Recording recording;
    RecordedSink sink;
    DeliveryStats stats;
};

/// The message of the ReadError that opening these bytes throws; empty when it opens.
inline std::string openError(const Bytes& bytes)
{
    try {
        (void)open(bytes);
        return {};
    } catch (const ReadError& error) {
        return error.what();
    }
}

} // namespace samplefold::perfdata::testing
