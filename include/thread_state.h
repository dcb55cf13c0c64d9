#pragma once

#include "export.h"
#include "overtime_sample_aggregator.h"
#include "sample_records.h"

#include <rowvault1/band_table.h>

#include <cstdint>
#include <map>
#include <vector>

namespace samplefold_1 {

class LoaderContext;

/// Turns the point samples of one thread into intervals. The newest sample of each event slot stays
/// open here until the next one tells how long it lasted; closed intervals go to the context's
/// array.
///
/// An event slot is a small number of the caller's; samples of one slot follow each other in time.
/// All ticks are those of the caller's clock; a tick of 0 is no tick, see addSample. An interval
/// begins one tick behind the sample before; the first of a slot as long before its sample as the
/// context's m_firstInterval options say, or else with the length of the one that follows it.
///
/// Without a context (null) a thread takes no samples and `finish` does nothing. Thread rules:
/// loading thread only. Closed intervals point at this object and at its open samples, so it never
/// moves, and it outlives every flush of its samples. The context outlives it.
class SAMPLEFOLD_1_API ThreadInfo {
public:
    /// A thread whose ticks are not known yet. `bandKey` owns its bands, `threadKey` is its row;
    /// `storeEachSample` false adds the open samples up at `finish`; it is meant to equal the
    /// context's m_storeEachSample, which says the same of closed intervals. The context's options
    /// are set.
    ThreadInfo(LoaderContext* context, Index bandKey, std::uint64_t eventSlots,
               bool storeEachSample, Index threadKey);
    /// A thread with known first and last ticks. Mind the order: the thread's key comes first here.
    ThreadInfo(LoaderContext* context, Index threadKey, Index bandKey, std::uint64_t firstTsc,
               std::uint64_t lastTsc, bool storeEachSample);
    ThreadInfo(const ThreadInfo&) = delete;
    ThreadInfo& operator=(const ThreadInfo&) = delete;

    /// Changes the owner of the aggregated bands that `finish` writes. The bands of single samples
    /// keep the owner given at construction.
    void setBandKey(Index key) { m_bandKey = key; }

    /// A sample at a moment: closes the open sample of the slot and becomes the open one. `attr`
    /// comes from LoaderContext::addpmuSampleAttribute. The count is `value` times `scale` when
    /// `scaleGate` is above zero and `applyScale` is set, else `value`. A tick at or before the
    /// last one is taken, the interval that it closes has the rate 0.0; after a tick of 0 the slot
    /// is without a sample. `eventSlots` is not used.
    void addSample(std::uint64_t tsc, pmu_sample_attribute_t* attr, std::int64_t value,
                   std::int64_t scaleGate, std::int64_t scale, bool applyScale,
                   std::int32_t eventSlot, std::uint64_t eventSlots);

    /// A group of counts for one explicit interval, from `prevTsc` + 1 (or `tsc` when `prevTsc` is
    /// 0) to `tsc`: a closed interval each, except for the position `skipIndex`. `attrs` has at
    /// least as many elements as `values`. These intervals are in no chain and leave the open
    /// samples alone.
    void addSample(std::uint64_t prevTsc, std::uint64_t tsc,
                   std::vector<pmu_sample_attribute_t*>& attrs, std::vector<std::int64_t>& values,
                   std::uint64_t skipIndex);

    /// Ends the thread: writes the open samples as rows (and bands, where those are on), or the
    /// sums of the aggregator at ticks from `tsc` on. The open samples stay; a second call writes
    /// them again. All attributes must have been flushed. A missing record fires "target", a
    /// refused row "res".
    void finish(std::uint64_t tsc);

    /// Copies the attributes of the open samples to `attributes`, by event slot, ahead of an
    /// emptying of the context's arrays. The vector gets one element more than the highest slot.
    void getCopyOfLastSamples(std::vector<pmu_sample_attribute_t>& attributes) const;
    /// Enters the copies into the emptied attribute array, lets the open samples point at them, and
    /// starts the chains of closed intervals anew. Fires "attributes.size() == size" on a vector of
    /// another size, and takes the elements that there are.
    void setLastSamplesFromCopy(std::vector<pmu_sample_attribute_t>& attributes);

    std::uint64_t firstTsc() const noexcept { return m_firstTsc; }
    std::uint64_t lastTsc() const noexcept { return m_lastTsc; }
    Index threadKey() const noexcept { return m_threadKey; }

private:
    friend class LoaderContext;

    void openFirstSample(pmu_data_t& sample, std::uint64_t tsc) const;
    void closeSample(pmu_data_t& sample, std::uint64_t tsc, std::int64_t count,
                     std::int32_t eventSlot);
    void storeOpenSample(const pmu_data_t& sample);
    void addOpenSampleBand(const pmu_data_t& sample);
    void sizeBandFields();
    std::size_t slotCount() const;

    OvertimeSampleAggregator m_overtimeAggregator;
    bool m_loadInstanceDataToSqlite = false;
    bool m_storeEachSample = true;
    Index m_bandKey;
    Index m_threadKey;
    rowvault1::band_timeline_key_t m_bandTimelineKey;
    LoaderContext* m_context = nullptr;
    std::uint64_t m_firstTsc = 0;
    std::uint64_t m_lastTsc = 0;
    std::vector<tb2::variant_t> m_bandFields;
    std::map<std::int32_t, pmu_data_t> m_lastSamples;
    std::vector<pmu_data_t*> m_lastStored;
};

} // namespace samplefold_1
