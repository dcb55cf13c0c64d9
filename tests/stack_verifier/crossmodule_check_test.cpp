#include "verifier_fixture.h"

namespace stack_test {
namespace {

class CrossmoduleCheck : public VerifierTest {
protected:
    std::int32_t check(const Listing& listing, std::uint64_t rva)
    {
        return navigating.verifyByCrossmoduleTransition(listing.path(), rva);
    }
    static constexpr std::uint64_t entrySize = 16;
};

TEST_F(CrossmoduleCheck, WithoutABankNothingIsConfirmed)
{
    EXPECT_EQ(navigating.verifyByCrossmoduleTransition("/no/such/file", 0x1000),
              link_check::unconfirmed);
}

TEST_F(CrossmoduleCheck, APlaceOutsideOfTheModuleFails)
{
    navigating.getCachedSymbolBank(program().path());
    EXPECT_EQ(debugLines([&] { EXPECT_EQ(check(program(), 0xdead0000), link_check::failed); }),
              lines_t{"Failed to get location for RVA: rva_to = 0xdead0000        "});
}

TEST_F(CrossmoduleCheck, AModuleWithoutALinkageTableIsUnconfirmed)
{
    EXPECT_EQ(check(library(), library().rva("apply")), link_check::unconfirmed);
}

TEST_F(CrossmoduleCheck, TheLinkageTableHoldsFromItsFirstByteToItsLast)
{
    for (const Listing* listing : {&program(), &fixedProgram()}) {
        const std::uint64_t first = listing->linkageEntry() - entrySize;
        const std::uint64_t end = listing->linkageEntry() + entrySize;
        EXPECT_EQ(check(*listing, first), link_check::holds);
        EXPECT_EQ(check(*listing, end - 1), link_check::holds);
        EXPECT_EQ(check(*listing, end), link_check::unconfirmed);
        EXPECT_EQ(check(*listing, 0), link_check::unconfirmed) << "below it, in the file's head";
    }
}

TEST_F(CrossmoduleCheck, AnEntryIsLogged)
{
    navigating.getCachedSymbolBank(program().path());
    const std::uint64_t rva = program().linkageEntry();
    EXPECT_EQ(debugLines([&] { check(program(), rva); }),
              lines_t{"Jump to PLT detected at rva_to = " + hex(rva, 18)});
}

} // namespace
} // namespace stack_test
