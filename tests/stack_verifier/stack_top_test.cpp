#include "verifier_fixture.h"

namespace stack_test {
namespace {

class StackTop : public VerifierTest {
protected:
    std::int32_t check(const std::string& place, const Listing& listing = program())
    {
        return navigating.verifyStackTop(listing.path(), listing.rva(place));
    }
};

TEST_F(StackTop, WithoutABankItFails)
{
    EXPECT_EQ(navigating.verifyStackTop("/no/such/file", 0x1000), link_check::failed);
}

TEST_F(StackTop, APlaceOutsideOfTheModuleFails)
{
    navigating.getCachedSymbolBank(program().path());
    EXPECT_EQ(debugLines([&] {
                  EXPECT_EQ(navigating.verifyStackTop(program().path(), 0xdead0000),
                            link_check::failed);
              }),
              lines_t{"Failed to get location for RVA: 0xdead0000"});
}

TEST_F(StackTop, APlaceWithoutASymbolFails)
{
    EXPECT_EQ(debugLines([&] { EXPECT_EQ(check("bare"), link_check::failed); }),
              lines_t{"Failed to get symbol range for RVA: " + hex(program().rva("bare"))});
}

TEST_F(StackTop, TheBeginOfAProgramAndOfAThreadAreToldByTheirNames)
{
    for (StackVerifier* verifier : {&navigating, &plain}) {
        for (const char* name : {"_start", "clone"}) {
            const std::string place = name == std::string("clone") ? "clone_calls" : name;
            EXPECT_EQ(debugLines([&] {
                          EXPECT_EQ(
                              verifier->verifyStackTop(program().path(), program().rva(place)),
                              link_check::holds);
                      }),
                      lines_t{std::string(" Top function: ") + name});
        }
    }
}

TEST_F(StackTop, ANameThatOnlyBeginsLikeThatIsAnother)
{
    EXPECT_EQ(check("clones"), link_check::unconfirmed);
}

TEST_F(StackTop, WithoutNavigationOtherFunctionsFail)
{
    for (const char* place : {"main", "forever", "clones"})
        EXPECT_EQ(plain.verifyStackTop(program().path(), program().rva(place)), link_check::failed);
}

TEST_F(StackTop, AFunctionThatReturnsIsNoTop)
{
    for (const Listing* listing : {&program(), &fixedProgram()}) {
        EXPECT_EQ(check("main", *listing), link_check::unconfirmed);
        EXPECT_EQ(check("main_calls_work", *listing), link_check::unconfirmed) << "from inside too";
        EXPECT_EQ(check("warm", *listing), link_check::unconfirmed);
    }
}

TEST_F(StackTop, AFunctionWithoutAReturnIsATopWhateverFollows)
{
    for (const Listing* listing : {&program(), &fixedProgram()}) {
        EXPECT_EQ(check("forever_loops", *listing), link_check::holds);
        EXPECT_EQ(check("warm.cold", *listing), link_check::holds);
    }
}

TEST_F(StackTop, TheLastCodeOfAModuleIsATopWhenItNeverReturns)
{
    EXPECT_EQ(check("final_loops"), link_check::holds);
}

TEST_F(StackTop, AFunctionWithoutBytesFails)
{
    const std::uint64_t address = fixedProgram().rva("later") + fixedProgram().linkedAt();
    EXPECT_EQ(debugLines([&] { EXPECT_EQ(check("later", fixedProgram()), link_check::failed); }),
              (lines_t{" Top function: later", "Cannot navigate to BB " + hex(address).substr(2)}));
}

} // namespace
} // namespace stack_test
