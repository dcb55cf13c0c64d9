#include <rowvault1/chunk_array.h>
#include <samplefold_1/sample_records.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using rowvault1::ChunkArray;

TEST(ChunkArray, The50001stPushGrowsTheCapacityTo100000AndMovesNothing)
{
    ChunkArray<int> array;
    EXPECT_EQ(0u, array.capacity());
    EXPECT_EQ(0u, array.size());
    std::vector<int*> addresses;
    for (int i = 0; i < 50000; ++i)
        addresses.push_back(array.push(i));
    EXPECT_EQ(50000u, array.capacity());
    addresses.push_back(array.push(50000));
    EXPECT_EQ(100000u, array.capacity());
    EXPECT_EQ(50001u, array.size());
    for (int i = 0; i <= 50000; ++i) {
        const auto at = static_cast<std::size_t>(i);
        ASSERT_EQ(addresses[at], &array[at]);
        ASSERT_EQ(i, array[at]);
    }
}

/// Counts the elements that were built as copies; a chunk builds all of its slots when it is taken.
struct counted_t {
    counted_t() = default;
    counted_t(const counted_t& other) : value(other.value) { ++built; }
    counted_t& operator=(const counted_t&) = default;
    int value = 0;
    static int built;
};
int counted_t::built = 0;

TEST(ChunkArray, Element4095And4096LieInDifferentChunksAndPushesIntoTheSecondLeaveTheFirst)
{
    ChunkArray<counted_t> array;
    counted_t element;
    array.push(element);
    counted_t::built = 0;
    for (element.value = 1; element.value < 4096; ++element.value)
        array.push(element);
    EXPECT_EQ(0, counted_t::built) << "all in the chunk of the first element";
    const counted_t* const first = &array[0];
    EXPECT_EQ(first + 4095, &array[4095]);
    const counted_t* const next = array.push(element);
    EXPECT_EQ(4096, counted_t::built) << "a second chunk is taken, with all its slots";
    EXPECT_EQ(next + 1, array.push(element));
    EXPECT_EQ(4096, counted_t::built);
    for (int i = 0; i < 4096; ++i)
        ASSERT_EQ(i, first[i].value);
}

TEST(ChunkArray, SlotsThatWereNeverWrittenHoldTheDefaultEvenInChunksTakenOnDemand)
{
    ChunkArray<int> array(42);
    array.push(1);
    EXPECT_EQ(42, array[1]) << "same chunk";
    EXPECT_EQ(42, array[4096]) << "a chunk nothing was pushed into";
    EXPECT_EQ(42, array[49999]);
    EXPECT_EQ(1u, array.size());

    ChunkArray<samplefold_1::pmu_sample_attribute_t> attributes;
    attributes.push({});
    EXPECT_EQ(-1, attributes[4097].event_type.value());
    EXPECT_EQ(-1, attributes[4097].callsite.value());
    EXPECT_EQ(0u, attributes[4097].ip);
}

TEST(ChunkArray, AResetArrayStartsAnewInTheSameMemory)
{
    ChunkArray<int> array;
    int* const first = array.push(1);
    array.push(2);
    array.reset();
    EXPECT_EQ(0u, array.size());
    EXPECT_EQ(first, array.push(7));
    EXPECT_EQ(7, *first);
    EXPECT_EQ(50000u, array.capacity());
}

} // namespace
