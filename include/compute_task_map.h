#pragma once

#include "export.h"
#include "interval_tree.h"

#include <cstdint>

// Which compute task ran at a moment in time.
namespace samplefold_1 {

/// The span of time of one compute task, in ticks. The fields are `lowTick` and `highTick`, because
/// the interval tree reads them through the accessors `low()` and `high()`. A plain value.
struct ComputeTaskInfo {
    using RangeType = std::uint64_t;

    std::uint64_t lowTick = 0;  ///< first tick of the task
    std::uint64_t highTick = 0; ///< last tick of the task, inclusive
    std::uint64_t callerData =
        0; ///< whatever the caller ties to the task; the library does not read it

    std::uint64_t low() const noexcept { return lowTick; }
    std::uint64_t high() const noexcept { return highTick; }
};

/// The answer of a task lookup: one pointer, null when there is no such task. It owns nothing; the
/// task lives as long as the `values` of the map that gave it.
class ComputeTaskHandle {
public:
    constexpr ComputeTaskHandle() noexcept = default;
    constexpr explicit ComputeTaskHandle(ComputeTaskInfo* task) noexcept : m_task(task) {}

    constexpr ComputeTaskInfo* get() const noexcept { return m_task; }
    constexpr ComputeTaskInfo* operator->() const noexcept { return m_task; }
    constexpr ComputeTaskInfo& operator*() const noexcept { return *m_task; }
    constexpr bool isNull() const noexcept { return m_task == nullptr; }
    constexpr explicit operator bool() const noexcept { return !isNull(); }

    friend constexpr bool operator==(ComputeTaskHandle, ComputeTaskHandle) noexcept = default;

private:
    ComputeTaskInfo* m_task = nullptr;
};

/// Compute tasks on the time axis. Fill `values`, then ask; see IntervalTree for what may change
/// after the first query. Every query writes the memo: never two at once on one map.
class SAMPLEFOLD_1_API ComputeTaskMap : public IntervalTree<ComputeTaskInfo> {
public:
    ComputeTaskMap() = default;
    /// Takes the tasks and the memo along; the source is left as if newly made.
    ComputeTaskMap(ComputeTaskMap&& other) noexcept;
    ComputeTaskMap& operator=(ComputeTaskMap&& other) noexcept;

    /// The task that holds the tick `point` (both ends inclusive), or a null handle. Of several the
    /// one deepest in the tree, and within a node the last of its run. The second argument is
    /// ignored. Asked again at the same point it answers from its memo. The first call builds the
    /// tree and may raise what IntervalTree::ensureBuilt raises; later calls allocate nothing.
    ComputeTaskHandle findComputeTask(std::uint64_t point, std::uint64_t ignored);

protected:
    // The memo starts at tick 0 with no task, which is the truth of a map without tasks. The build
    // settles the answer for tick 0, so the memo never holds a wrong one.
    std::uint64_t lastPoint = 0;         ///< the point of the memo
    ComputeTaskInfo* lastTask = nullptr; ///< the answer at `lastPoint`, or null

private:
    ComputeTaskInfo* lastVisited(std::uint64_t point) const;
};

} // namespace samplefold_1
