#include "verifier_fixture.h"

namespace stack_test {
namespace {

class SymbolCheck : public VerifierTest {
protected:
    std::int32_t check(const Listing& listing, const std::string& from, const std::string& to)
    {
        return navigating.verifyBySymbol(listing.path(), listing.rva(from), listing.rva(to));
    }
    std::int32_t check(const std::string& from, const std::string& to)
    {
        return check(program(), from, to);
    }
};

TEST_F(SymbolCheck, WithoutABankNothingIsConfirmed)
{
    EXPECT_EQ(navigating.verifyBySymbol("/no/such/file", 0x1000, 0x1000), link_check::unconfirmed);
    EXPECT_EQ(navigating.verifyBySymbol("", 0x1000, 0x1000), link_check::unconfirmed);
}

TEST_F(SymbolCheck, AnEntryOutsideOfTheModuleFails)
{
    navigating.getCachedSymbolBank(program().path());
    EXPECT_EQ(debugLines([&] {
                  EXPECT_EQ(navigating.verifyBySymbol(program().path(), 0xbeef0000, 0xdead0000),
                            link_check::failed);
              }),
              lines_t{"Failed to get location for RVA: rva_to = 0xdead0000        "})
        << "the other end is not looked at any more";
}

TEST_F(SymbolCheck, AChildOutsideOfTheModuleFails)
{
    navigating.getCachedSymbolBank(program().path());
    EXPECT_EQ(debugLines([&] {
                  EXPECT_EQ(navigating.verifyBySymbol(program().path(), 0xbeef0000,
                                                      program().rva("leaf")),
                            link_check::failed);
              }),
              lines_t{"Failed to get location for RVA: rva_from = 0xbeef0000        "});
}

TEST_F(SymbolCheck, AFunctionHoldsItsBytesAndNoOthers)
{
    EXPECT_EQ(check("leaf", "leaf"), link_check::holds);
    EXPECT_EQ(check("leaf_returns", "leaf"), link_check::holds) << "its last byte";
    const std::uint64_t leaf = program().rva("leaf");
    EXPECT_EQ(navigating.verifyBySymbol(program().path(), program().rva("leaf_returns") + 1, leaf),
              link_check::unconfirmed);
    EXPECT_EQ(navigating.verifyBySymbol(program().path(), leaf - 1, leaf), link_check::unconfirmed);
}

TEST_F(SymbolCheck, AddressesOfAModuleForOneAddressAreRelativeToo)
{
    EXPECT_EQ(check(fixedProgram(), "leaf_returns", "leaf"), link_check::holds);
    EXPECT_EQ(check(fixedProgram(), "landing", "leaf"), link_check::unconfirmed);
    EXPECT_EQ(check(fixedProgram(), "leaf_returns", "leaf_middle"), link_check::failed);
}

TEST_F(SymbolCheck, CodeWithoutASymbolIsUnconfirmed)
{
    EXPECT_EQ(check("bare_middle", "bare"), link_check::unconfirmed);
    EXPECT_EQ(check(bareProgram(), "leaf_middle", "leaf"), link_check::unconfirmed);
}

TEST_F(SymbolCheck, AnEntryInTheMiddleOfAFunctionFails)
{
    const std::uint64_t rva = program().rva("leaf_middle");
    const lines_t lines =
        debugLines([&] { EXPECT_EQ(check("leaf_returns", "leaf_middle"), link_check::failed); });
    EXPECT_EQ(lines, lines_t{"Invalid function start for rva_to = " + hex(rva, 18)});
}

TEST_F(SymbolCheck, ALabelWithinAFunctionIsItsMiddle)
{
    EXPECT_EQ(check("outer_calls_leaf", "inner_label"), link_check::failed);
}

TEST_F(SymbolCheck, TheBeginOfAnInlinedFunctionStandsForThatOfTheWhole)
{
    EXPECT_EQ(check("host_inlined_calls_leaf", "host_inlined"), link_check::holds);
    EXPECT_EQ(check("host_inlined_ends", "host_inlined"), link_check::holds)
        << "outside of the inlined part, within the function";
    EXPECT_EQ(check("host", "host_inlined"), link_check::holds);
    EXPECT_EQ(check("leaf", "host_inlined"), link_check::unconfirmed);
    EXPECT_EQ(check("host_inlined_ends", "host_inlined_middle"), link_check::failed);
    EXPECT_EQ(check("host_inlined_ends", "host_inlined_ends"), link_check::failed)
        << "nothing is inlined there";
}

TEST_F(SymbolCheck, AFunctionWhoseEndIsAGuessIsUnconfirmed)
{
    EXPECT_EQ(check("unsized_calls_leaf", "unsized"), link_check::unconfirmed);
    EXPECT_EQ(check("unsized_calls_leaf", "unsized_calls_leaf"), link_check::failed)
        << "though its begin is known";
}

TEST_F(SymbolCheck, ALabelOutsideOfFunctionsCountsAsASymbol)
{
    EXPECT_EQ(check("bare_label", "bare_label"), link_check::unconfirmed);
    const std::uint64_t behind = program().rva("bare_label") + 1;
    EXPECT_EQ(navigating.verifyBySymbol(program().path(), behind, behind), link_check::failed);
}

} // namespace
} // namespace stack_test
