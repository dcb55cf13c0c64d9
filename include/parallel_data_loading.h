#pragma once

#include "sample_records.h"

#include <rowvault1/database.h>

#include <oneapi/tbb/scalable_allocator.h>

#include <map>
#include <utility>
#include <vector>

namespace samplefold_1 {

/// One bucket of distinct attributes: what has been seen, with its row keys, and what is new and
/// not yet in the store. The driver's bucket pass fills the maps and lists; flushing writes the
/// lists.
///
/// Invariants: 1. a map entry is the stable home of its row key, attributes and locations point at
/// it;
/// 2. entries stay for the life of the bucket, so an attribute met again reuses its row; 3. the
/// lists hold entries of this bucket's maps whose key is -1. Thread rules: no lock. In the bucket
/// pass each bucket belongs to one worker, everything else happens on the loading thread. Copies
/// are for sizing an array of empty buckets: keys in the old entries stay behind.
class SAMPLEFOLD_1_API PerThreadContext {
public:
    template <class Key, class Order>
    using key_map_t =
        std::map<Key, Index, Order, tbb::scalable_allocator<std::pair<const Key, Index>>>;
    using code_location_map_t = key_map_t<code_location_t, CompareCodeLocations>;
    using sample_attribute_map_t = key_map_t<pmu_sample_attribute_t, CompareSamples>;

    /// Opens dd_sample, dd_code_location and dd_callsite and makes a record of each, once; a second
    /// call changes nothing. A table that is missing fires "m_ddSampleTable",
    /// "m_ddCodeLocationTable" or "m_ddCallsiteTable".
    void init(const tb2::sptr_t<rowvault1::IDatabase>& db, bool linkCallsiteParents);

    /// Enters an attribute whose rows exist: `sampleKey` in dd_sample and, with call stacks off,
    /// `callsiteKey` of its code location. What is in the caches already keeps its first key.
    /// Afterwards `attr.sample_key`, and with call stacks off `attr.code_loc.callsite_key`, point
    /// into the caches.
    void cacheSampleAttribute(pmu_sample_attribute_t& attr, bool linkCallsiteParents,
                              std::int32_t sampleKey, std::int32_t callsiteKey);

    /// Writes the listed code locations with a callsite each, then the listed attributes, puts the
    /// row keys in their entries, and empties the lists and `m_attributeNumbers`. The listed
    /// attributes have their `code_loc.callsite_key` set. A missing table fires an assertion. So
    /// does a row that the store refuses, which leaves -1 in its entry; only a location refused
    /// behind others is silent, and its callsite then refers to the one before. `db` is kept alive
    /// for the call.
    void flush(tb2::sptr_t<rowvault1::IDatabase> db);

    /// Numbers, in the context's attribute array, of the attributes added since the last flush.
    std::vector<std::uint64_t> m_attributeNumbers;
    code_location_map_t m_codeLocations;          ///< to their callsite rows
    sample_attribute_map_t m_sampleAttributeKeys; ///< to their dd_sample rows
    std::vector<code_location_map_t::value_type*> m_codeLocationsToAdd;
    std::vector<sample_attribute_map_t::value_type*> m_sampleAttributesToAdd;
    tb2::sptr_t<rowvault1::IAttributeTable> m_ddCallsiteTable;
    rowvault1::OrphanRecord m_callsiteRecord;
    tb2::sptr_t<rowvault1::IAttributeTable> m_ddCodeLocationTable;
    rowvault1::OrphanRecord m_codeLocationRecord;
    tb2::sptr_t<rowvault1::IAttributeTable> m_ddSampleTable;
    rowvault1::OrphanRecord m_sampleRecord;
    bool m_linkCallsiteParents = false;
    bool m_initialized = false;

private:
    void writeCodeLocations();
    void writeSampleAttributes();
};

} // namespace samplefold_1
