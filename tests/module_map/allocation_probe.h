#pragma once

#include <cstddef>
#include <cstdint>

// Watch over the plain operator new of the whole test program, on the calling thread.
namespace samplefold_1::test {

struct allocation_counts_t {
    std::uint64_t allocations = 0; ///< calls of operator new that gave room
    std::uint64_t releases = 0;    ///< calls of operator delete with a block

    std::uint64_t live() const { return allocations - releases; }
};

/// Counts of the calling thread since its start.
allocation_counts_t allocationCounts();

/// While it lives, operator new of the calling thread gives room `allowed` times and then throws.
class AllocationLimit {
public:
    explicit AllocationLimit(std::size_t allowed);
    ~AllocationLimit();
    AllocationLimit(const AllocationLimit&) = delete;
    AllocationLimit& operator=(const AllocationLimit&) = delete;
};

} // namespace samplefold_1::test
