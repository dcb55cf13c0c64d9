#pragma once

#include "export.h"
#include "hash_compare.h"
#include "seg_inst_map.h"

#include <oneapi/tbb/cache_aligned_allocator.h>
#include <oneapi/tbb/concurrent_hash_map.h>
#include <oneapi/tbb/concurrent_vector.h>

#include <cstdint>
#include <string>

// When which life of a process was active, and what it had loaded.
namespace samplefold_1 {

/// One span of activity of a process id. Ticks of 0 mean that none was seen.
struct PerfProcessInfo {
    std::uint64_t owner = 0;    ///< the driver's, not read here
    std::uint64_t firstTsc = 0; ///< earliest tick seen
    std::uint64_t lastTsc = 0;  ///< latest tick seen, included
    std::string name;           ///< the driver's, not read here
    SegInstMap segInstMap;      ///< what it had loaded
};

/// The spans of a process id in the order of time, the newest last. Records never move.
using PerfProcessInfos =
    oneapi::tbb::concurrent_vector<PerfProcessInfo,
                                   oneapi::tbb::cache_aligned_allocator<PerfProcessInfo>>;

/// Spans by process id. The driver adds the records; the library reads and widens them. Any thread:
/// every access to a vector goes through an accessor, which locks its process id.
class VmAuxData : public oneapi::tbb::concurrent_hash_map<std::uint32_t, PerfProcessInfos,
                                                          HashCompare<std::uint32_t>> {
public:
    /// Finds the record that the tick `tsc` belongs to, and widens its span to hold it: the newest
    /// that began at or before the tick, ended before it or has seen none, else the oldest. `held`
    /// is released first and holds the vector of `pid` on return, which is made when there is none.
    /// Returns 1 with the position in `index`, or 0 with 0 for an empty vector.
    SAMPLEFOLD_1_API int getProcessState(std::uint64_t tsc, std::uint32_t pid, std::uint64_t& index,
                                         accessor& held);
};

} // namespace samplefold_1
