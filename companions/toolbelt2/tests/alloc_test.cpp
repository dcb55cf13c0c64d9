#include <toolbelt2/alloc.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

namespace {

using tb2::alloc::pool_allocate;
using tb2::alloc::pool_free;

struct block_t {
    unsigned char* bytes;
    std::size_t size;
    unsigned char mark;
};

block_t takeBlock(std::size_t size, unsigned char mark)
{
    auto* const bytes = static_cast<unsigned char*>(pool_allocate(size));
    std::memset(bytes, mark, size);
    return {bytes, size, mark};
}

bool holdsItsMark(const block_t& block)
{
    return std::all_of(block.bytes, block.bytes + block.size,
                       [&](unsigned char byte) { return byte == block.mark; });
}

/// Sizes around the borders of the pool: tiny, odd, a chunk of records, beyond the largest pool
/// block.
const std::vector<std::size_t> g_sizes{
    0, 1, 63, 64, 65, 4095, 4096 * 48, 1U << 20, (1U << 20) + 1, 5U << 20};

TEST(PoolAllocation, roomOfEverySizeIsAlignedTo64)
{
    for (const std::size_t size : g_sizes) {
        void* const room = pool_allocate(size);
        ASSERT_NE(room, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(room) % 64, 0U) << size;
        pool_free(room, size);
    }
}

TEST(PoolAllocation, roomsDoNotOverlap)
{
    std::vector<block_t> blocks;
    unsigned char mark = 0;
    for (int round = 0; round < 20; ++round)
        for (const std::size_t size : g_sizes)
            if (size < 100000) blocks.push_back(takeBlock(size, ++mark));
    for (const block_t& block : blocks)
        EXPECT_TRUE(holdsItsMark(block)) << block.size;
    for (const block_t& block : blocks)
        pool_free(block.bytes, block.size);
}

TEST(PoolAllocation, roomGivenBackIsUsedAgain)
{
    void* const first = pool_allocate(4096 * 48);
    pool_free(first, 4096 * 48);
    void* const second = pool_allocate(4096 * 48);
    EXPECT_EQ(second, first);
    pool_free(second, 4096 * 48);
}

TEST(PoolAllocation, givingBackNullDoesNothing)
{
    pool_free(nullptr, 64);
    void* const room = pool_allocate(64);
    EXPECT_NE(room, nullptr);
    pool_free(room, 64);
}

TEST(PoolAllocation, roomMayBeTakenOnOneThreadAndGivenBackOnAnother)
{
    std::vector<block_t> blocks(4);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < blocks.size(); ++i)
        threads.emplace_back([&blocks, i] {
            for (int round = 0; round < 500; ++round)
                pool_free(pool_allocate(64 * i), 64 * i);
            blocks[i] = takeBlock(1000 + i, static_cast<unsigned char>(i + 1));
        });
    for (std::thread& thread : threads)
        thread.join();
    for (const block_t& block : blocks) {
        EXPECT_TRUE(holdsItsMark(block));
        pool_free(block.bytes, block.size);
    }
}

} // namespace
