#include "branch_fixture.h"

#include "load/link_doubts.h"

namespace samplefold::load::testing {
namespace {

class LinkDoubtsTest : public BranchTest {
protected:
    static LinkEnd inProgram(const std::string& place)
    {
        const stack_test::Listing& listing = stack_test::program();
        return {listing.path(), place == "apply@plt" ? listing.linkageEntry() : listing.rva(place)};
    }
    static LinkEnd inLibrary(const std::string& place)
    {
        return {stack_test::library().path(), stack_test::library().rva(place)};
    }
    bool isDoubtful(const LinkEnd& to, const LinkEnd& child)
    {
        return LinkDoubts(navigating).isDoubtful(to, child, false);
    }
};

TEST_F(LinkDoubtsTest, AnEntryOfTheLinkageTableLeadsToTheFunctionThatItNames)
{
    EXPECT_FALSE(isDoubtful(inProgram("apply@plt"), inLibrary("apply_after")));
    EXPECT_TRUE(isDoubtful(inProgram("apply@plt"), inLibrary("far_calls_back")));
}

TEST_F(LinkDoubtsTest, ItMayLeadThroughAThirdModule)
{
    EXPECT_FALSE(isDoubtful(inProgram("apply@plt"), inProgram("leaf_middle")))
        << "the program has no apply of its own";
}

TEST_F(LinkDoubtsTest, JumpsToAnotherFunctionAreFollowed)
{
    EXPECT_FALSE(isDoubtful(inProgram("hop"), inProgram("landing_middle")));
    EXPECT_TRUE(isDoubtful(inProgram("work"), inProgram("landing_middle")));
}

TEST_F(LinkDoubtsTest, AnIndirectJumpMayLeadAnywhereInItsModule)
{
    EXPECT_FALSE(isDoubtful(inProgram("dispatch"), inProgram("leaf_middle")));
    EXPECT_TRUE(isDoubtful(inProgram("dispatch"), inLibrary("apply_after")))
        << "into another module it goes through the linkage table";
}

TEST_F(LinkDoubtsTest, WithoutCodeThereIsNoDoubt)
{
    EXPECT_FALSE(isDoubtful({"", 0x10}, inProgram("leaf_middle")));
    EXPECT_FALSE(isDoubtful(inProgram("work"), {"", 0x10}));
}

} // namespace
} // namespace samplefold::load::testing
