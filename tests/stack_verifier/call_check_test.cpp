#include "dump_builder.h"
#include "module_map/allocation_probe.h"
#include "support/fake_jit_loader.h"
#include "verifier_fixture.h"

namespace stack_test {
namespace {

class CallCheck : public VerifierTest {
protected:
    std::int32_t check(std::uint64_t rvaFrom, std::uint64_t rvaSw)
    {
        navigating.getCachedSymbolBank(program().path());
        return navigating.verifyByCall(program().path(), rvaFrom, rvaSw);
    }

    /// A resolver over one generated function, which begins at `rvaOfCode` with a call.
    boost::intrusive_ptr<jitlens_3_13::ISymbolResolver> generated(const std::string& name)
    {
        DumpBuilder dump;
        rvaOfCode = dump.load(1, 0x7000, name, std::string_view("\xe8\0\0\0\0\x90\xc3", 7));
        const auto reader = jitlens_3_13::IJitLoader::create({});
        std::uint32_t status = 0;
        reader->attach(nullptr, &status);
        reader->addFile(pid, folder.addFile(name, dump.bytes()));
        std::uint64_t rva = 0;
        boost::intrusive_ptr<jitlens_3_13::IModule> module;
        EXPECT_EQ(reader->resolve(5, 0x7000, pid, status, rva, module), jitlens_3_13::code::found);
        EXPECT_EQ(rva, rvaOfCode);
        return reader->symbols();
    }
    /// Lets the verifier take the resolver, with stacks that need no merging.
    void take(const boost::intrusive_ptr<jitlens_3_13::ISymbolResolver>& resolver)
    {
        chain_t chain;
        EXPECT_FALSE(merge(navigating, {}, chain, resolver));
    }

    std::uint64_t rvaOfCode = 0;
};

TEST_F(CallCheck, WithoutNavigationTheDistanceDecides)
{
    for (const std::uint64_t distance : {0, 1, 5, 7})
        EXPECT_EQ(plain.verifyByCall("", 0x1000, 0x1000 + distance), link_check::holds) << distance;
    EXPECT_EQ(plain.verifyByCall("", 0x1000, 0x1008), link_check::unconfirmed);
    EXPECT_EQ(plain.verifyByCall("", 0x1000, 0xfff), link_check::unconfirmed)
        << "a place before the call is far behind it";
}

TEST_F(CallCheck, AModuleThatNobodyLoadedFails)
{
    const std::uint64_t call = program().rva("main_calls_work");
    EXPECT_EQ(navigating.verifyByCall(program().path(), call, call), link_check::failed);
    EXPECT_EQ(check(call, call), link_check::holds);
}

TEST_F(CallCheck, GeneratedCodeWithoutANavigatorFails)
{
    EXPECT_EQ(navigating.verifyByCall("", 0x1000, 0x1000), link_check::failed);
}

TEST_F(CallCheck, AFrameWithinTheCallHolds)
{
    const std::uint64_t call = program().rva("main_calls_work");
    const std::uint64_t behind = program().rva("main_after_work");
    EXPECT_EQ(check(call, call), link_check::holds) << "its first byte";
    EXPECT_EQ(check(call, behind - 1), link_check::holds) << "its last byte";
}

TEST_F(CallCheck, AFrameBehindTheCallOrBeforeItDoesNot)
{
    const std::uint64_t call = program().rva("main_calls_work");
    for (const std::uint64_t frame : {program().rva("main_after_work"), call - 1})
        EXPECT_EQ(
            debugLines([&] { EXPECT_EQ(check(call, frame), link_check::unconfirmed) << frame; }),
            lines_t{"rvaSw is not a call instruction"});
}

TEST_F(CallCheck, AddressesOfAModuleForOneAddressAreRelativeToo)
{
    navigating.getCachedSymbolBank(fixedProgram().path());
    const std::uint64_t call = fixedProgram().rva("main_calls_work");
    EXPECT_EQ(navigating.verifyByCall(fixedProgram().path(), call, call + 4), link_check::holds);
}

TEST_F(CallCheck, ACallWithoutCodeFails)
{
    check(0, 0);
    EXPECT_EQ(debugLines([&] { EXPECT_EQ(check(0xdead0000, 0xdead0000), link_check::failed); }),
              lines_t{"Cannot navigate to rvaFrom = dead0000"});
}

TEST_F(CallCheck, WhatIsNotTheEndOfItsBlockIsNoCall)
{
    const std::uint64_t middle = program().rva("landing_middle");
    EXPECT_EQ(debugLines([&] { EXPECT_EQ(check(middle, middle), link_check::unconfirmed); }),
              lines_t{"rvaFrom is not a call instruction"});
}

TEST_F(CallCheck, AnyEndOfABlockCountsAsACall)
{
    const std::uint64_t jump = program().rva("hop_jumps");
    EXPECT_EQ(check(jump, jump + 1), link_check::holds);
}

TEST_F(CallCheck, AnEmptyPathIsGeneratedCodeOfTheLastResolver)
{
    const auto resolver = generated("first");
    take(resolver);
    EXPECT_EQ(navigating.verifyByCall("", rvaOfCode, rvaOfCode + 4), link_check::holds);
    EXPECT_EQ(navigating.verifyByCall("", rvaOfCode, rvaOfCode + 5), link_check::unconfirmed);
    EXPECT_EQ(navigating.verifyByCall("", 0x999999, 0x999999), link_check::failed);
}

TEST_F(CallCheck, AnotherResolverTakesThePlaceOfTheLast)
{
    take(generated("first"));
    const std::uint64_t before = rvaOfCode;
    take(generated("the second of them, at another place"));
    ASSERT_NE(before, rvaOfCode);
    EXPECT_EQ(navigating.verifyByCall("", rvaOfCode, rvaOfCode), link_check::holds);
    EXPECT_NE(navigating.verifyByCall("", before, before), link_check::holds);
    take(nullptr);
    EXPECT_EQ(navigating.verifyByCall("", rvaOfCode, rvaOfCode), link_check::failed)
        << "none has no code";
}

TEST_F(CallCheck, TheResolverOfTheLastMergeIsNotTakenAgain)
{
    const auto resolver = generated("first");
    chain_t chain;
    stack_t records;
    const auto allocationsOfMerge = [&] {
        const auto before = samplefold_1::test::allocationCounts().allocations;
        EXPECT_FALSE(
            navigating.merge(records, chain, jitTime, tsc, pid, kernel, process, resolver));
        return samplefold_1::test::allocationCounts().allocations - before;
    };
    EXPECT_GT(allocationsOfMerge(), 0U) << "a navigator is built, though nothing is merged";
    EXPECT_EQ(allocationsOfMerge(), 0U);
}

/// Counts its own end.
class CountedResolver : public samplefold_test::NoSymbols {
public:
    explicit CountedResolver(int& ended) : m_ended(ended) {}
    ~CountedResolver() override { ++m_ended; }

private:
    int& m_ended;
};

TEST_F(CallCheck, WithoutNavigationNoResolverIsKept)
{
    int ended = 0;
    chain_t chain;
    EXPECT_FALSE(merge(plain, {}, chain, samplefold_test::makeShared<CountedResolver>(ended)));
    EXPECT_EQ(ended, 1);
    EXPECT_FALSE(merge(navigating, {}, chain, samplefold_test::makeShared<CountedResolver>(ended)));
    EXPECT_EQ(ended, 1) << "with it one is, until the next";
    EXPECT_FALSE(merge(navigating, {}, chain, nullptr));
    EXPECT_EQ(ended, 2);
}

} // namespace
} // namespace stack_test
