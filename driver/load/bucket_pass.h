#pragma once

#include "load/attribute_index.h"

#include <samplefold_1/parallel_data_loading.h>

#include <rowvault1/chunk_array.h>

#include <vector>

namespace samplefold::load {

using AttributeArray = rowvault1::ChunkArray<samplefold_1::pmu_sample_attribute_t>;

/// The step before LoaderContext::flushData: finds or inserts every attribute that was added since
/// the last flush in the caches of its bucket, lists what is new, and lets each attribute point at
/// its row keys. One object goes with one context for the whole load: it remembers where attributes
/// met before stand, so that only new ones are searched for in the caches. Loading thread only.
class BucketPass {
public:
    /// A parallel loop of oneTBB with a task per bucket; returns when all are done. No sample may
    /// be added meanwhile. `linkCallsiteParents` is the context's flag; it and `buckets` are the
    /// same on every call.
    void run(std::vector<samplefold_1::PerThreadContext>& buckets, AttributeArray& attributes,
             bool linkCallsiteParents);

private:
    std::vector<AttributeIndex> m_indexes; ///< one per bucket
};

/// One such pass by an object that remembers nothing.
void runBucketPass(std::vector<samplefold_1::PerThreadContext>& buckets, AttributeArray& attributes,
                   bool linkCallsiteParents);

/// One bucket of that pass, on the calling thread. `index` has been used for no other bucket.
void sortIntoBucket(samplefold_1::PerThreadContext& bucket, AttributeArray& attributes,
                    bool linkCallsiteParents, AttributeIndex& index);

} // namespace samplefold::load
