#pragma once

#include "export.h"
#include "interval_tree.h"

#include <rowvault1/index.h>

#include <cstdint>
#include <string>

// Which segment of a module lay at an address of one address space at a moment in time.
namespace samplefold_1 {

/// One segment of a module as it was loaded into an address space. Times are in the unit of the
/// sample timestamps (ticks). The fields of the range are `lowAddress` and `highAddress`, because
/// the interval tree reads them through the accessors `low()` and `high()`. A plain value that owns
/// its text.
struct SegInstInfo {
    using RangeType = std::uint64_t;

    std::uint64_t lowAddress = 0;    ///< first address of the segment
    std::uint64_t highAddress = 0;   ///< last address of the segment, inclusive
    std::uint64_t loadTime = 0;      ///< first tick at which the instance is valid, inclusive
    std::uint64_t unloadTime = 0;    ///< first tick at which it is valid no more, exclusive
    std::string modulePath{};        ///< the segment's module as the collector named it
    std::uint64_t offsetInFile = 0;  ///< where the segment starts in the module's file, in bytes
    rowvault1::Index segInstIndex{}; ///< row of dd_segment_instance
    rowvault1::Index moduleIndex{};  ///< row of the module

    std::uint64_t low() const noexcept { return lowAddress; }
    std::uint64_t high() const noexcept { return highAddress; }
    /// True when `time` lies in [loadTime, unloadTime).
    bool isValidAt(std::uint64_t time) const noexcept
    {
        return loadTime <= time && time < unloadTime;
    }
};

/// The segment instances of one address space. Fill `values`, then ask; see IntervalTree for what
/// may change after the first query. One thread at a time; several may ask at once after a first
/// query.
class SAMPLEFOLD_1_API SegInstMap : public IntervalTree<SegInstInfo> {
public:
    /// The segment instance that holds the address `point` (both ends inclusive) and is valid at
    /// `time`, or null. Of several the one loaded last; of those loaded in the same tick the one
    /// that comes last in the walk of the tree. The answer belongs to the map and lives as long as
    /// its `values`. The first call builds the tree and may raise what IntervalTree::ensureBuilt
    /// raises; later calls allocate nothing.
    SegInstInfo* findSegInst(std::uint64_t point, std::uint64_t time);
};

} // namespace samplefold_1
