#pragma once

#include "export.h"
#include "sample_records.h"

#include <rowvault1/band_table.h>
#include <rowvault1/instance_container.h>

#include <cstdint>
#include <map>

namespace samplefold_1 {

/// Sums of a thread's samples per attribute row, for loads that do not keep each sample. It grows
/// through the whole load and is written once, at the thread's end; nothing clears it. Loading
/// thread only.
class SAMPLEFOLD_1_API OvertimeSampleAggregator {
public:
    struct PmuEventInfo {
        Index event_type;
        Index callsite;
        Index cpu;
        std::int64_t count = 0;
    };

    /// Adds the count to the attribute's sum. The first sample of an attribute row settles the
    /// event type, callsite and CPU of its entry.
    void addSample(std::int32_t attributeRow, const PmuEventInfo& info);

    /// Writes a row of no length per attribute, in ascending order of the attribute rows, at the
    /// ticks `tsc`, `tsc` + 1 and so on. A missing record fires "target", a refused row "res"; the
    /// loop goes on.
    void flushToInstanceDataContainer(const tb2::sptr_t<rowvault1::IInstanceDataContainer>& target,
                                      std::int32_t threadKey, std::uint64_t tsc) const;

    /// The same as bands of no length under `key`, at the same ticks, with no custom columns.
    void flushToBandTable(
        const tb2::sptr_t<rowvault1::IGenericBandTable<rowvault1::aggregated_band_obj_t>>& table,
        const rowvault1::band_timeline_key_t& key, std::uint64_t tsc) const;

private:
    std::map<std::int32_t, PmuEventInfo> m_events;
};

} // namespace samplefold_1
