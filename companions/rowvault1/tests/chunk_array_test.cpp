#include <rowvault1/chunk_array.h>

#include <gtest/gtest.h>

#include <cstdint>

using rowvault1::ChunkArray;

namespace {

using Numbers = ChunkArray<std::uint64_t>;

TEST(ChunkArray, ElementsKeepTheirAddressWhenTheCapacityGrows)
{
    Numbers array;
    EXPECT_EQ(array.capacity(), 0U);
    std::vector<std::uint64_t*> places;
    for (std::uint64_t n = 0; n < 50000; ++n)
        places.push_back(array.push(n));
    EXPECT_EQ(array.capacity(), 50000U);
    places.push_back(array.push(50000));
    EXPECT_EQ(array.capacity(), 100000U);
    EXPECT_EQ(array.size(), 50001U);
    for (std::uint64_t n = 0; n <= 50000; ++n) {
        ASSERT_EQ(*places[n], n);
        ASSERT_EQ(&array[n], places[n]);
    }
}

struct counted_t {
    counted_t() = default;
    counted_t(const counted_t& other) : value(other.value) { ++copies; }
    counted_t& operator=(const counted_t&) = default;
    int value = 3;
    static inline int copies = 0;
};

TEST(ChunkArray, AChunkOfFourThousandAndNinetySixElementsIsFilledWhenItsFirstIsWritten)
{
    ChunkArray<counted_t> array;
    array.push({});
    counted_t::copies = 0;
    for (int n = 1; n < 4096; ++n)
        array.push({});
    EXPECT_EQ(counted_t::copies, 0);
    array.push({});
    EXPECT_EQ(counted_t::copies, 4096);
}

TEST(ChunkArray, ASlotNotWrittenHoldsTheDefault)
{
    Numbers array(77);
    array.push(1);
    EXPECT_EQ(array[1], 77U);
    EXPECT_EQ(array[4095], 77U);
    EXPECT_EQ(array[49999], 77U);
    EXPECT_EQ(array.size(), 1U);
}

TEST(ChunkArray, ResetKeepsTheChunksAndTheirElements)
{
    Numbers array;
    std::uint64_t* const first = array.push(5);
    array.push(6);
    array.reset();
    EXPECT_EQ(array.size(), 0U);
    EXPECT_EQ(array.capacity(), 50000U);
    EXPECT_EQ(*first, 5U);
    EXPECT_EQ(array.push(9), first);
    EXPECT_EQ(array[1], 6U);
}

} // namespace
