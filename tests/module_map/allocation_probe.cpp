#include "allocation_probe.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t g_noLimit = std::numeric_limits<std::size_t>::max();

thread_local samplefold_1::test::allocation_counts_t t_counts;
thread_local std::size_t t_allowed = g_noLimit;

void* roomOrNull(std::size_t bytes) noexcept
{
    if (t_allowed == 0) return nullptr;
    if (t_allowed != g_noLimit) --t_allowed;
    void* const room = std::malloc(bytes == 0 ? 1 : bytes);
    if (room != nullptr) ++t_counts.allocations;
    return room;
}

void giveBack(void* room) noexcept
{
    if (room == nullptr) return;
    ++t_counts.releases;
    std::free(room);
}

} // namespace

void* operator new(std::size_t bytes)
{
    if (void* const room = roomOrNull(bytes)) return room;
    throw std::bad_alloc();
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept
{
    return roomOrNull(bytes);
}
void operator delete(void* room) noexcept
{
    giveBack(room);
}
void operator delete(void* room, std::size_t) noexcept
{
    giveBack(room);
}
void operator delete(void* room, const std::nothrow_t&) noexcept
{
    giveBack(room);
}

namespace samplefold_1::test {

allocation_counts_t allocationCounts()
{
    return t_counts;
}

AllocationLimit::AllocationLimit(std::size_t allowed)
{
    t_allowed = allowed;
}
AllocationLimit::~AllocationLimit()
{
    t_allowed = g_noLimit;
}

} // namespace samplefold_1::test
