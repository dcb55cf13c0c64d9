#include <samplefold_1/thread_state.h>

#include "common/load_instance_data.h"
#include "thread_state/instance_row.h"
#include <samplefold_1/loader_context.h>

#include <PORTA_2_18/assert.h>

#include <algorithm>
#include <limits>

namespace samplefold_1 {
namespace {

constexpr const char* g_attributeTable = "dd_sample";

constexpr double g_topBit = 9223372036854775808.0;
constexpr std::uint64_t g_topBitTicks = std::uint64_t{1} << 63;

/// The value cut towards zero, as a signed number's bits; the top bit alone for what no signed
/// number holds.
std::uint64_t signedTicks(double value)
{
    const bool fits = value >= -g_topBit && value < g_topBit;
    return fits ? static_cast<std::uint64_t>(static_cast<std::int64_t>(value)) : g_topBitTicks;
}

/// Ticks of a product of two factors: cut towards zero, from the upper half of the range on by
/// taking the top bit away and putting it back, so that 2^64 and more come out as 0.
std::uint64_t toTicks(double value)
{
    return value >= g_topBit ? signedTicks(value - g_topBit) + g_topBitTicks : signedTicks(value);
}

/// Signed product that wraps, as counters do.
std::int64_t scaled(std::int64_t value, std::int64_t scale)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(value) *
                                     static_cast<std::uint64_t>(scale));
}

} // namespace

ThreadInfo::ThreadInfo(LoaderContext* context, Index bandKey, std::uint64_t eventSlots,
                       bool storeEachSample, Index threadKey)
    : m_loadInstanceDataToSqlite(loadInstanceDataToSqlite()), m_storeEachSample(storeEachSample),
      m_bandKey(bandKey), m_threadKey(threadKey), m_bandTimelineKey{bandKey, g_attributeTable},
      m_context(context), m_firstTsc(std::numeric_limits<std::uint64_t>::max()),
      m_lastStored(eventSlots, nullptr)
{
    sizeBandFields();
}

ThreadInfo::ThreadInfo(LoaderContext* context, Index threadKey, Index bandKey,
                       std::uint64_t firstTsc, std::uint64_t lastTsc, bool storeEachSample)
    : m_loadInstanceDataToSqlite(loadInstanceDataToSqlite()), m_storeEachSample(storeEachSample),
      m_bandKey(bandKey), m_threadKey(threadKey), m_bandTimelineKey{bandKey, g_attributeTable},
      m_context(context), m_firstTsc(firstTsc), m_lastTsc(lastTsc)
{
    sizeBandFields();
}

void ThreadInfo::sizeBandFields()
{
    if (m_context == nullptr) return; // such a thread takes no samples
    m_bandFields.resize(
        std::size_t{std::max(m_context->m_rateBandField, m_context->m_nextAttrBandField)} + 1);
}

void ThreadInfo::addSample(std::uint64_t tsc, pmu_sample_attribute_t* attr, std::int64_t value,
                           std::int64_t scaleGate, std::int64_t scale, bool applyScale,
                           std::int32_t eventSlot, std::uint64_t)
{
    if (m_context == nullptr) return;
    m_firstTsc = std::min(m_firstTsc, tsc);
    m_lastTsc = std::max(m_lastTsc, tsc);
    const std::int64_t count = scaleGate > 0 && applyScale ? scaled(value, scale) : value;

    pmu_data_t& sample = m_lastSamples[eventSlot];
    if (sample.end_tsc == 0) {
        openFirstSample(sample, tsc);
        sample.thread = this;
    } else {
        closeSample(sample, tsc, count, eventSlot);
    }
    sample.count = count;
    sample.reserved_value = 0;
    sample.attr = attr;
}

void ThreadInfo::openFirstSample(pmu_data_t& sample, std::uint64_t tsc) const
{
    sample.start_tsc = tsc;
    sample.end_tsc = tsc;
    if (m_context->m_firstIntervalTag.empty()) return;
    const std::uint64_t extension =
        toTicks(m_context->m_firstIntervalFactorA * m_context->m_firstIntervalFactorB);
    if (extension != 0 && extension <= sample.start_tsc) sample.start_tsc -= extension;
}

void ThreadInfo::closeSample(pmu_data_t& sample, std::uint64_t tsc, std::int64_t count,
                             std::int32_t eventSlot)
{
    const std::uint64_t ticks = tsc - sample.end_tsc; // wraps for a tick before the last one
    sample.rate =
        tsc > sample.end_tsc ? static_cast<double>(count) / static_cast<double>(ticks) : 0.0;

    // An interval without length is given the length of the one that follows it.
    if (sample.start_tsc == sample.end_tsc && ticks <= sample.start_tsc) sample.start_tsc -= ticks;

    const auto slot = static_cast<std::size_t>(eventSlot);
    if (m_lastStored.size() <= slot) m_lastStored.resize(slot + 1, nullptr);
    pmu_data_t* const stored = m_context->addPmuData(sample);
    if (m_lastStored[slot] != nullptr) m_lastStored[slot]->next = stored;
    m_lastStored[slot] = stored;
    stored->next = &sample; // until it is closed itself, the follower stands here

    if (tsc > sample.end_tsc) {
        sample.start_tsc = sample.end_tsc + 1;
    } else if (tsc >= sample.end_tsc - sample.start_tsc) {
        sample.start_tsc -= sample.end_tsc - tsc;
    }
    sample.end_tsc = tsc;
    sample.rate = 0.0;
    sample.next = nullptr;
}

void ThreadInfo::addSample(std::uint64_t prevTsc, std::uint64_t tsc,
                           std::vector<pmu_sample_attribute_t*>& attrs,
                           std::vector<std::int64_t>& values, std::uint64_t skipIndex)
{
    if (m_context == nullptr) return;
    const std::uint64_t start = prevTsc != 0 ? prevTsc + 1 : tsc;
    m_firstTsc = std::min(m_firstTsc, start);
    m_lastTsc = std::max(m_lastTsc, tsc);
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i == skipIndex) continue;
        pmu_data_t data;
        data.attr = attrs[i];
        data.thread = this;
        data.start_tsc = start;
        data.end_tsc = tsc;
        data.count = values[i];
        m_context->addPmuData(data);
    }
}

void ThreadInfo::finish(std::uint64_t tsc)
{
    if (m_context == nullptr) return;
    for (const auto& [slot, sample] : m_lastSamples) {
        if (sample.end_tsc == 0) continue;
        if (m_storeEachSample) {
            storeOpenSample(sample);
        } else {
            const pmu_sample_attribute_t& attr = *sample.attr;
            m_overtimeAggregator.addSample(
                attr.sample_key->value(),
                {attr.event_type, effectiveCallsite(attr), attr.cpu, sample.count});
        }
    }
    if (m_storeEachSample) return;
    m_overtimeAggregator.flushToInstanceDataContainer(m_context->m_instanceContainer,
                                                      m_threadKey.value(), tsc);
    if (m_loadInstanceDataToSqlite) {
        m_overtimeAggregator.flushToBandTable(m_context->m_sampleBandTable,
                                              {m_bandKey, g_attributeTable}, tsc);
    }
}

void ThreadInfo::storeOpenSample(const pmu_data_t& sample)
{
    // A fresh record: the last sample of a slot has no follower, and its columns stay empty.
    const auto target = m_context->m_instanceContainer->createOrphanInstanceRecord();
    PORTA_ASSERT_TEXT(!target.is_null(), "target");
    if (m_loadInstanceDataToSqlite) addOpenSampleBand(sample);
    if (target) writeSampleKeys(*target, sample, m_threadKey);
    PORTA_ASSERT_TEXT(target && insertSampleRow(*target, sample), "res");
}

void ThreadInfo::addOpenSampleBand(const pmu_data_t& sample)
{
    const Index sampleKey = *sample.attr->sample_key;
    const rowvault1::aggregated_band_obj_t band{
        sample.start_tsc,
        sample.end_tsc,
        {{0, static_cast<std::uint64_t>(sample.count), sampleKey}}};
    m_bandFields[m_context->m_rateBandField] = tb2::variant_t(0.0);
    m_bandFields[m_context->m_nextAttrBandField] = tb2::variant_t(sampleKey.value());
    tb2::sptr_t<rowvault1::IMetaData> meta;
    m_context->m_sampleBandTable->add(m_bandTimelineKey, band, meta, &m_bandFields);
}

std::size_t ThreadInfo::slotCount() const
{
    return m_lastSamples.empty() ? 0 : static_cast<std::size_t>(m_lastSamples.rbegin()->first) + 1;
}

void ThreadInfo::getCopyOfLastSamples(std::vector<pmu_sample_attribute_t>& attributes) const
{
    attributes.resize(slotCount());
    for (const auto& [slot, sample] : m_lastSamples) {
        if (sample.attr != nullptr) attributes[static_cast<std::size_t>(slot)] = *sample.attr;
    }
}

void ThreadInfo::setLastSamplesFromCopy(std::vector<pmu_sample_attribute_t>& attributes)
{
    const std::size_t size = slotCount();
    PORTA_ASSERT_TEXT(attributes.size() == size, "attributes.size() == size");
    m_lastStored.assign(size, nullptr);
    for (std::size_t i = 0; i < std::min(size, attributes.size()); ++i) {
        const auto open = m_lastSamples.find(static_cast<std::int32_t>(i));
        if (open == m_lastSamples.end() || open->second.attr == nullptr) continue;
        open->second.attr = m_context->addpmuSampleAttribute(attributes[i]);
    }
}

} // namespace samplefold_1
