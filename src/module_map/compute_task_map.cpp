#include <samplefold_1/compute_task_map.h>

#include <utility>

namespace samplefold_1 {

ComputeTaskMap::ComputeTaskMap(ComputeTaskMap&& other) noexcept
    : IntervalTree(std::move(other)), lastPoint(std::exchange(other.lastPoint, 0)),
      lastTask(std::exchange(other.lastTask, nullptr))
{
}

ComputeTaskMap& ComputeTaskMap::operator=(ComputeTaskMap&& other) noexcept
{
    if (this == &other) return *this;
    lastPoint = std::exchange(other.lastPoint, 0);
    lastTask = std::exchange(other.lastTask, nullptr);
    IntervalTree::operator=(std::move(other));
    return *this;
}

ComputeTaskHandle ComputeTaskMap::findComputeTask(std::uint64_t point, std::uint64_t)
{
    if (!built) [[unlikely]] {
        ensureBuilt();
        lastTask = lastVisited(lastPoint);
    }
    if (point != lastPoint) {
        lastTask = lastVisited(point);
        lastPoint = point;
    }
    return ComputeTaskHandle(lastTask);
}

ComputeTaskInfo* ComputeTaskMap::lastVisited(std::uint64_t point) const
{
    ComputeTaskInfo* last = nullptr;
    walk(point, [&last](ComputeTaskInfo* task) { last = task; });
    return last;
}

} // namespace samplefold_1
