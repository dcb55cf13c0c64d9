#include "perfdata/record_decoder.h"
#include "perfdata/record_sorter.h"
#include "perfdata/recording_impl.h"
#include "perfdata/sample_decoder.h"

#include <algorithm>

namespace samplefold::perfdata {

namespace {

constexpr std::uint64_t releaseEvery = std::uint64_t{16} << 20;

/// Lowest time of all blocks after each block: what is not above it can go.
std::vector<std::uint64_t> boundsAfter(const std::vector<Block>& blocks)
{
    std::vector<std::uint64_t> bounds(blocks.size(), noTime);
    for (std::size_t block = blocks.size(); block-- > 1;)
        bounds[block - 1] = std::min(bounds[block], blocks[block].lowestTime);
    return bounds;
}

/// One delivery, from the first block to the last.
class Delivery {
public:
    Delivery(const Recording::Impl& impl, RecordSink& sink, const DeliveryOptions& options)
        : m_impl(impl), m_sink(sink), m_options(options), m_locator(impl.collected.events),
          m_samples(impl.collected.events.events()),
          m_records(impl.collected.events.events(), m_locator)
    {
    }

    DeliveryStats run()
    {
        const std::vector<std::uint64_t> bounds = boundsAfter(m_impl.scan.blocks);
        for (std::size_t block = 0; block < bounds.size() && !m_stats.stopped; ++block)
            passBlock(block, bounds[block]);
        if (!m_stats.stopped) report(m_impl.scan.end);
        m_impl.releaseUpTo(m_impl.scan.end);
        return m_stats;
    }

private:
    void passBlock(std::size_t index, std::uint64_t bound)
    {
        const Block& block = m_impl.scan.blocks[index];
        if (!report(block.begin)) return;
        const bool isLast = index + 1 == m_impl.scan.blocks.size();
        const std::uint64_t end = isLast ? m_impl.scan.end : m_impl.scan.blocks[index + 1].begin;
        if (block.ascending && m_sorter.pending() == 0)
            walk(block.begin, end,
                 [&](const RecordView& record, std::uint64_t position, std::uint64_t time) {
                     if (time <= bound)
                         pass(record, position);
                     else
                         m_fresh.push_back({time, position});
                 });
        else
            walk(block.begin, end,
                 [&](const RecordView& record, std::uint64_t position, std::uint64_t time) {
                     if (time == 0)
                         pass(record, position);
                     else
                         m_fresh.push_back({time, position});
                 });
        passPending(bound);
    }

    /// Calls `take` for each record of [begin, end) that the filter lets through.
    template <class Take>
    void walk(std::uint64_t begin, std::uint64_t end, const Take& take)
    {
        const std::byte* stream = m_impl.stream.data();
        for (std::uint64_t position = begin; position < end;) {
            const RecordView record = viewRecord(stream + position);
            ++m_stats.read;
            if (isWanted(record)) {
                const std::uint64_t time = m_locator.timeOf(record);
                m_stats.untimed += time == 0 ? 1u : 0u;
                take(record, position, time);
            } else {
                ++m_stats.filtered;
            }
            position += record.size + trailingBytes(record);
        }
    }

    void passPending(std::uint64_t bound)
    {
        sortByTime(m_fresh, m_scratch);
        m_sorter.addRun(m_fresh);
        m_stats.mostPending = std::max<std::uint64_t>(m_stats.mostPending, m_sorter.pending());
        const std::byte* stream = m_impl.stream.data();
        m_sorter.giveUpTo(bound, [&](const TimedRecord& due) {
            pass(viewRecord(stream + due.position), due.position);
        });
    }

    [[nodiscard]] bool isWanted(const RecordView& record) const noexcept
    {
        if (m_options.filter == Deliver::All) return true;
        return (record.kind() == RecordType::Sample) == (m_options.filter == Deliver::Samples);
    }

    void pass(const RecordView& record, std::uint64_t position)
    {
        const std::uint64_t offset = m_impl.offsetOf(position);
        if (record.kind() == RecordType::Sample)
            passSample(record, offset);
        else if (m_records.dispatch(record, offset, m_sink))
            ++m_stats.sideBand;
        else
            countBad(offset);
    }

    void passSample(const RecordView& record, std::uint64_t offset)
    {
        const std::uint32_t event = m_locator.sampleEvent(record);
        if (event == RecordLocator::unknown) {
            ++m_stats.unknownIdSamples;
            return;
        }
        const Sample* sample = m_samples.decode(record, event, m_locator.layout(event), offset);
        if (sample == nullptr) {
            ++m_stats.badSamples;
            countBad(offset);
            return;
        }
        m_sink.onSample(*sample);
        ++m_stats.samples;
    }

    void countBad(std::uint64_t offset)
    {
        ++m_stats.badRecords;
        if (m_stats.badOffsets.size() < DeliveryStats::badOffsetLimit)
            m_stats.badOffsets.push_back(offset);
    }

    /// Gives back pages and tells the progress; false when the work shall stop.
    bool report(std::uint64_t position)
    {
        if (position - m_released >= releaseEvery) {
            m_impl.releaseUpTo(position);
            m_released = position;
        }
        m_stats.stopped = m_options.progress && !m_options.progress(position, m_impl.scan.end);
        return !m_stats.stopped;
    }

    const Recording::Impl& m_impl;
    RecordSink& m_sink;
    const DeliveryOptions& m_options;
    RecordLocator m_locator;
    SampleDecoder m_samples;
    RecordDecoder m_records;
    RecordSorter m_sorter;
    std::vector<TimedRecord> m_fresh;
    std::vector<TimedRecord> m_scratch;
    DeliveryStats m_stats;
    std::uint64_t m_released = 0;
};

} // namespace

DeliveryStats Recording::deliver(RecordSink& sink, const DeliveryOptions& options) const
{
    return Delivery(*m_impl, sink, options).run();
}

} // namespace samplefold::perfdata
