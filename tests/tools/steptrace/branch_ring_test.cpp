#include "branch_ring.h"

#include <gtest/gtest.h>

namespace steptrace {
namespace {

std::vector<std::uint64_t> sources(const BranchRing& ring)
{
    std::vector<std::uint64_t> found;
    for (const BranchRecord& record : ring.newestFirst())
        found.push_back(record.from);
    return found;
}

BranchRing with(std::size_t depth, std::uint64_t records)
{
    BranchRing ring(depth);
    for (std::uint64_t from = 1; from <= records; ++from)
        ring.push({from, from + 100, 0});
    return ring;
}

using Sources = std::vector<std::uint64_t>;

TEST(BranchRing, gives_the_newest_record_first)
{
    EXPECT_EQ(sources(with(4, 3)), (Sources{3, 2, 1}));
}

TEST(BranchRing, loses_the_oldest_records_when_it_is_full)
{
    EXPECT_EQ(sources(with(4, 6)), (Sources{6, 5, 4, 3}));
}

TEST(BranchRing, does_not_get_lost_records_back_when_calls_return)
{
    BranchRing ring = with(4, 6);
    for (int returns = 0; returns < 3; ++returns)
        ring.pop();
    EXPECT_EQ(sources(ring), Sources{3});
    ring.pop();
    ring.pop();
    EXPECT_EQ(sources(ring), Sources{});
    ring.push({7, 107, 0});
    EXPECT_EQ(sources(ring), Sources{7});
}

} // namespace
} // namespace steptrace
