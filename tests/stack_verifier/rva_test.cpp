#include "verifier_fixture.h"

namespace stack_test {
namespace {

class GetRva : public VerifierTest {
protected:
    bool ask(StackVerifier& verifier, std::uint64_t ip, std::uint64_t time = jitTime)
    {
        return verifier.getRva(ip, time, tsc, pid, kernel, process, rva, segment, isKernel, path);
    }

    std::uint64_t rva = 0x1234;
    SegInstInfo* segment = nullptr;
    bool isKernel = true;
    std::string path = "before";
};

TEST_F(GetRva, AnAddressOfTheProcessIsInItsSegment)
{
    ASSERT_TRUE(ask(navigating, at("landing_middle")));
    EXPECT_EQ(rva, program().rva("landing_middle"));
    EXPECT_EQ(segment, process.findSegInst(at("landing_middle"), tsc));
    EXPECT_FALSE(isKernel);
    EXPECT_EQ(path, program().path());
}

TEST_F(GetRva, AnAddressOfTheKernelCountsFromWhereItsFileIsLinked)
{
    isKernel = false;
    ASSERT_TRUE(ask(navigating, at("kernel:landing_middle")));
    EXPECT_EQ(fixedProgram().linkedAt(), 0x10000000U);
    EXPECT_EQ(rva, fixedProgram().rva("landing_middle"));
    EXPECT_EQ(segment, kernel.findSegInst(at("kernel:landing_middle"), tsc));
    EXPECT_TRUE(isKernel);
    EXPECT_EQ(path, fixedProgram().path());
}

TEST_F(GetRva, TheProcessGoesBeforeTheKernel)
{
    map(process, library(), kernelBase);
    ASSERT_TRUE(ask(navigating, kernelBase + library().rva("apply")));
    EXPECT_FALSE(isKernel);
    EXPECT_EQ(path, library().path());
}

TEST_F(GetRva, ASegmentThatIsNotThereAtThatTickIsNotSeen)
{
    process.values.clear();
    map(process, program(), programBase);
    process.values.front().loadTime = tsc + 1;
    EXPECT_FALSE(ask(navigating, at("main")));
}

TEST_F(GetRva, AMappingOfAPartCountsFromItsOffsetInTheFile)
{
    mapAs(process, program().path(), 0x555800000000, 0x5558000000ff, 0x1080);
    ASSERT_TRUE(ask(navigating, 0x555800000010));
    EXPECT_EQ(rva, 0x1090U);
}

TEST_F(GetRva, AModuleWithoutAFileClearsThePathAndCountsFromTheMapping)
{
    mapAs(process, "/no/such/file", 0x555800000000, 0x555800000fff, 0x5000);
    ASSERT_TRUE(ask(navigating, 0x555800000010));
    EXPECT_EQ(rva, 0x10U);
    EXPECT_EQ(path, "");
    EXPECT_EQ(segment->modulePath, "/no/such/file");
}

TEST_F(GetRva, GeneratedCodeHasNoSegmentIsTheKernelsAndLeavesThePath)
{
    isKernel = false;
    SegInstInfo other;
    segment = &other;
    ASSERT_TRUE(ask(navigating, jit + 0x10));
    EXPECT_EQ(rva, RangeJitLoader::rvaOfFirst + 0x10);
    EXPECT_EQ(segment, nullptr);
    EXPECT_TRUE(isKernel);
    EXPECT_EQ(path, "before");
    ASSERT_EQ(loader->questions.size(), 1U);
    EXPECT_EQ(loader->questions[0],
              (RangeJitLoader::question_t{jitTime, jit + 0x10, pid, loader->statusOnAttach}));
}

TEST_F(GetRva, AMappingGoesBeforeGeneratedCode)
{
    mapAs(process, library().path(), jit, jit + 0xfff, 0x1000);
    ASSERT_TRUE(ask(navigating, jit + 0x10));
    EXPECT_FALSE(isKernel);
    EXPECT_TRUE(loader->questions.empty());
}

TEST_F(GetRva, AnAddressInNoCodeIsNotResolved)
{
    EXPECT_FALSE(ask(navigating, nowhere));
    EXPECT_EQ(segment, nullptr);
    EXPECT_EQ(rva, 0x1234U);
    EXPECT_EQ(path, "before");
}

TEST_F(GetRva, AnErrorOfTheLoaderIsNoAnswer)
{
    struct Broken : samplefold_test::FakeJitLoader {};
    const auto broken = samplefold_test::makeShared<Broken>();
    broken->answer = jitlens_3_13::code::unusable;
    JitContext other;
    other.m_jitSession = broken;
    other.createJitLoader(pid);
    StackVerifier verifier(modules, &other, true);
    EXPECT_FALSE(ask(verifier, jit));
    EXPECT_EQ(broken->questions.size(), 1U);
}

TEST_F(GetRva, WithoutATimeThereIsNoGeneratedCode)
{
    EXPECT_FALSE(ask(navigating, jit, 0));
}

TEST_F(GetRva, WithoutAContextNothingButSegmentsIsKnown)
{
    StackVerifier verifier(modules, nullptr, true);
    bool isFound = true;
    EXPECT_EQ(debugLines([&] { isFound = ask(verifier, jit); }), lines_t{"No loader context"});
    EXPECT_FALSE(isFound);
    EXPECT_EQ(segment, nullptr);
    EXPECT_TRUE(isKernel);
    EXPECT_TRUE(ask(verifier, at("main")));
}

} // namespace
} // namespace stack_test
