#include <toolbelt2/alloc.h>

#include <memory_resource>

namespace toolbelt2::alloc {
namespace {

constexpr std::size_t g_alignment = 64;

std::pmr::synchronized_pool_resource& pool()
{
    // Never destroyed: records may be given back while other statics are being torn down.
    static auto* const resource = new std::pmr::synchronized_pool_resource(std::pmr::pool_options{
        .max_blocks_per_chunk = 16, .largest_required_pool_block = 1U << 20});
    return *resource;
}

} // namespace

void* pool_allocate(std::size_t bytes)
{
    return pool().allocate(bytes, g_alignment);
}

void pool_free(void* memory, std::size_t bytes) noexcept
{
    if (memory != nullptr) pool().deallocate(memory, bytes, g_alignment);
}

} // namespace toolbelt2::alloc
