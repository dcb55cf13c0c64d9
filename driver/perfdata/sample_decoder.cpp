#include "perfdata/sample_decoder.h"

#include <bit>

namespace samplefold::perfdata {

namespace {

constexpr std::uint64_t fieldsOfVariableSize =
    sampleBit::AllKnown &
    ~(sampleBit::Identifier | sampleBit::Ip | sampleBit::Tid | sampleBit::Time | sampleBit::Addr |
      sampleBit::Id | sampleBit::StreamId | sampleBit::Cpu | sampleBit::Period);

std::size_t readEntrySize(std::uint64_t format) noexcept
{
    return sizeof(std::uint64_t) * (std::size_t{1} + ((format & readBit::Id) != 0 ? 1u : 0u) +
                                    ((format & readBit::Lost) != 0 ? 1u : 0u));
}

std::uint64_t take64(const std::byte*& at) noexcept
{
    const auto value = loadAt<std::uint64_t>(at);
    at += 8;
    return value;
}

/// The leading fields; the caller has checked that they all lie in the record.
void decodeFixed(const std::byte* at, std::uint64_t type, Sample& sample) noexcept
{
    if ((type & sampleBit::Identifier) != 0) sample.id = take64(at);
    if ((type & sampleBit::Ip) != 0) sample.ip = take64(at);
    if ((type & sampleBit::Tid) != 0) {
        const std::uint64_t both = take64(at);
        sample.pid = static_cast<std::int32_t>(static_cast<std::uint32_t>(both));
        sample.tid = static_cast<std::int32_t>(static_cast<std::uint32_t>(both >> 32));
    }
    if ((type & sampleBit::Time) != 0) sample.time = take64(at);
    if ((type & sampleBit::Addr) != 0) sample.addr = take64(at);
    if ((type & sampleBit::Id) != 0) sample.id = take64(at);
    if ((type & sampleBit::StreamId) != 0) sample.streamId = take64(at);
    if ((type & sampleBit::Cpu) != 0) sample.cpu = static_cast<std::uint32_t>(take64(at));
    if ((type & sampleBit::Period) != 0) sample.period = take64(at);
}

void decodeBranches(ByteReader& reader, std::uint64_t branchType, Sample& sample) noexcept
{
    const auto count = reader.take<std::uint64_t>();
    if (sample.hasBranchHwIndex) sample.branchHwIndex = reader.take<std::uint64_t>();
    sample.branches = reader.array<Branch>(count);
    if ((branchType & branchBit::Counters) != 0)
        sample.branchCounters = reader.array<std::uint64_t>(count);
}

void decodeRegisters(ByteReader& reader, Registers& registers) noexcept
{
    registers.abi = reader.take<std::uint64_t>();
    registers.values = {};
    if (registers.abi != 0)
        registers.values =
            reader.array<std::uint64_t>(static_cast<std::uint64_t>(std::popcount(registers.mask)));
}

void decodeUserStack(ByteReader& reader, Sample& sample) noexcept
{
    sample.userStackDumped = reader.take<std::uint64_t>();
    sample.userStack = {};
    if (sample.userStackDumped == 0) return;
    const std::span<const std::byte> dump = reader.bytes(sample.userStackDumped);
    const auto valid = reader.take<std::uint64_t>();
    sample.userStack =
        dump.subspan(0, static_cast<std::size_t>(std::min<std::uint64_t>(valid, dump.size())));
}

void decodeWeight(ByteReader& reader, bool isStruct, Sample& sample) noexcept
{
    sample.weight = reader.take<std::uint64_t>();
    if (!isStruct) return;
    sample.weight1 = static_cast<std::uint32_t>(sample.weight);
    sample.weight2 = static_cast<std::uint16_t>(sample.weight >> 32);
    sample.weight3 = static_cast<std::uint16_t>(sample.weight >> 48);
}

/// The fields after the leading ones, in the kernel's order. False when they overrun the record.
bool decodeVariable(ByteReader reader, const EventAttr& attr, Sample& sample) noexcept
{
    if (attr.samples(sampleBit::Read)) sample.read = takeReadValues(reader, attr.readFormat);
    if (attr.samples(sampleBit::Callchain))
        sample.callchain = reader.array<std::uint64_t>(reader.take<std::uint64_t>());
    if (attr.samples(sampleBit::Raw)) sample.raw = reader.bytes(reader.take<std::uint32_t>());
    if (attr.samples(sampleBit::BranchStack)) decodeBranches(reader, attr.branchSampleType, sample);
    if (attr.samples(sampleBit::RegsUser)) decodeRegisters(reader, sample.userRegs);
    if (attr.samples(sampleBit::StackUser)) decodeUserStack(reader, sample);
    if (attr.samples(sampleBit::Weight | sampleBit::WeightStruct))
        decodeWeight(reader, attr.samples(sampleBit::WeightStruct), sample);
    if (attr.samples(sampleBit::DataSrc)) sample.dataSrc = reader.take<std::uint64_t>();
    if (attr.samples(sampleBit::Transaction)) sample.transaction = reader.take<std::uint64_t>();
    if (attr.samples(sampleBit::RegsIntr)) decodeRegisters(reader, sample.intrRegs);
    if (attr.samples(sampleBit::PhysAddr)) sample.physAddr = reader.take<std::uint64_t>();
    if (attr.samples(sampleBit::Cgroup)) sample.cgroup = reader.take<std::uint64_t>();
    if (attr.samples(sampleBit::DataPageSize)) sample.dataPageSize = reader.take<std::uint64_t>();
    if (attr.samples(sampleBit::CodePageSize)) sample.codePageSize = reader.take<std::uint64_t>();
    if (attr.samples(sampleBit::Aux)) sample.aux = reader.bytes(reader.take<std::uint64_t>());
    return reader.ok();
}

} // namespace

CounterValue ReadValues::operator[](std::size_t index) const noexcept
{
    const std::byte* at = m_values + index * readEntrySize(m_format);
    CounterValue counter;
    counter.value = take64(at);
    if (!isGroup()) at = m_rest;
    if (hasIds()) counter.id = take64(at);
    if ((m_format & readBit::Lost) != 0) counter.lost = take64(at);
    return counter;
}

namespace {

void takeReadTimes(ByteReader& reader, std::uint64_t format, ReadValues& values) noexcept
{
    if ((format & readBit::TimeEnabled) != 0) values.timeEnabled = reader.take<std::uint64_t>();
    if ((format & readBit::TimeRunning) != 0) values.timeRunning = reader.take<std::uint64_t>();
}

ReadValues takeGroup(ByteReader& reader, std::uint64_t format) noexcept
{
    const auto count = reader.take<std::uint64_t>();
    ReadValues times;
    takeReadTimes(reader, format, times);
    const std::size_t entrySize = readEntrySize(format);
    if (count > reader.left() / entrySize) {
        reader.fail();
        return {};
    }
    ReadValues values(reader.at(), static_cast<std::size_t>(count), format);
    values.timeEnabled = times.timeEnabled;
    values.timeRunning = times.timeRunning;
    reader.skip(count * entrySize);
    return values;
}

ReadValues takeSingle(ByteReader& reader, std::uint64_t format) noexcept
{
    const std::byte* value = reader.at();
    reader.skip(8);
    ReadValues times;
    takeReadTimes(reader, format, times);
    ReadValues values(value, reader.at(), format);
    values.timeEnabled = times.timeEnabled;
    values.timeRunning = times.timeRunning;
    reader.skip(readEntrySize(format) - 8);
    return values;
}

} // namespace

ReadValues takeReadValues(ByteReader& reader, std::uint64_t readFormat) noexcept
{
    const ReadValues values = (readFormat & readBit::Group) != 0 ? takeGroup(reader, readFormat)
                                                                 : takeSingle(reader, readFormat);
    return reader.ok() ? values : ReadValues();
}

SampleDecoder::SampleDecoder(const std::vector<Event>& events)
{
    m_samples.resize(events.size());
    for (const Event& event : events) {
        Sample& sample = m_samples[event.index];
        sample.event = &event;
        sample.has = event.attr.sampleType;
        sample.period = event.attr.samplePeriod();
        sample.hasBranchHwIndex = event.attr.samples(sampleBit::BranchStack) &&
                                  (event.attr.branchSampleType & branchBit::HwIndex) != 0;
        sample.userRegs.mask =
            event.attr.samples(sampleBit::RegsUser) ? event.attr.sampleRegsUser : 0;
        sample.intrRegs.mask =
            event.attr.samples(sampleBit::RegsIntr) ? event.attr.sampleRegsIntr : 0;
    }
}

const Sample* SampleDecoder::decode(const RecordView& record, std::uint32_t event,
                                    const SampleLayout& layout, std::uint64_t offset) noexcept
{
    if (record.bodySize() < layout.fixedSize) return nullptr;
    Sample& sample = m_samples[event];
    sample.offset = offset;
    sample.misc = record.misc;
    decodeFixed(record.body(), layout.sampleType, sample);
    if ((layout.sampleType & fieldsOfVariableSize) == 0) return &sample;
    const ByteReader rest(record.body() + layout.fixedSize, record.bodySize() - layout.fixedSize);
    return decodeVariable(rest, sample.event->attr, sample) ? &sample : nullptr;
}

} // namespace samplefold::perfdata
