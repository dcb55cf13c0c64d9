#include "load/call_tree.h"

#include "driver/session/scratch_result.h"
#include "session/row_writer.h"

#include <limits>
#include <optional>

namespace samplefold::load {
namespace {

using rowvault1::utils::indexToVariant;
using samplefold_1::Index;
using tb2::variant_t;

class CallTreeTest : public session::testing::ScratchResultTest {
protected:
    /// Adds the rows of a callsite as they stand in a result; gives its key.
    Index addRow(std::optional<Index> parent, std::optional<std::int32_t> segment,
                 std::uint64_t rva)
    {
        session::RowWriter places(db(), "dd_code_location");
        places.set("rva", variant_t(rva));
        if (segment) places.set("mod_seg", variant_t(*segment));
        const Index place = places.commit();
        session::RowWriter callsites(db(), "dd_callsite");
        callsites.set("code_loc", indexToVariant(place));
        if (parent) callsites.set("parent", variant_t(parent->value()));
        return callsites.commit();
    }
};

TEST_F(CallTreeTest, AnEmptyResultHasNone)
{
    const CallTree tree(*db());
    EXPECT_FALSE(tree.find(Index(), Index(), 0).exist());
}

TEST_F(CallTreeTest, EachOfParentSegmentAndAddressTellsCallsitesApart)
{
    CallTree tree(*db());
    tree.add(Index(), Index(3), 16, Index(7));
    tree.add(Index(7), Index(3), 16, Index(8));
    tree.add(Index(7), Index(4), 16, Index(9));
    tree.add(Index(7), Index(3), 17, Index(10));
    EXPECT_EQ(tree.find(Index(), Index(3), 16), Index(7));
    EXPECT_EQ(tree.find(Index(7), Index(3), 16), Index(8));
    EXPECT_EQ(tree.find(Index(7), Index(4), 16), Index(9));
    EXPECT_EQ(tree.find(Index(7), Index(3), 17), Index(10));
    EXPECT_FALSE(tree.find(Index(3), Index(7), 16).exist()) << "parent and segment exchanged";
    EXPECT_FALSE(tree.find(Index(), Index(4), 16).exist());
}

TEST_F(CallTreeTest, OfEqualOnesTheFirstStays)
{
    CallTree tree(*db());
    tree.add(Index(), Index(3), 16, Index(7));
    tree.add(Index(), Index(3), 16, Index(8));
    EXPECT_EQ(tree.find(Index(), Index(3), 16), Index(7));
}

TEST_F(CallTreeTest, AddressesOfAllBitsAreKept)
{
    CallTree tree(*db());
    const std::uint64_t highest = std::numeric_limits<std::uint64_t>::max();
    tree.add(Index(), Index(), highest, Index(1));
    tree.add(Index(), Index(), highest >> 1, Index(2));
    EXPECT_EQ(tree.find(Index(), Index(), highest), Index(1));
    EXPECT_EQ(tree.find(Index(), Index(), highest >> 1), Index(2));
}

TEST_F(CallTreeTest, RowsOfTheResultAreReadWithMissingParentsAndSegmentsAsMinusOne)
{
    const std::uint64_t kernelAddress = 0xffffffff81000000;
    const Index root = addRow(std::nullopt, 3, 16);
    const Index other = addRow(Index(-1), -1, kernelAddress);
    const Index noSegment = addRow(root, std::nullopt, 5);
    const Index leaf = addRow(root, 3, 16);
    addRow(root, 3, 16); // a second row of the same frame

    const CallTree tree(*db());
    EXPECT_EQ(tree.find(Index(), Index(3), 16), root);
    EXPECT_EQ(tree.find(Index(), Index(), kernelAddress), other);
    EXPECT_EQ(tree.find(root, Index(), 5), noSegment);
    EXPECT_EQ(tree.find(root, Index(3), 16), leaf);
}

TEST_F(CallTreeTest, RowsOfAResultThatIsOpenedAgainAreRead)
{
    const Index root = addRow(std::nullopt, 3, 16);
    reopen();
    EXPECT_EQ(CallTree(*db()).find(Index(), Index(3), 16), root);
}

} // namespace
} // namespace samplefold::load
