// Which frames a sample has, and in what order.
#include "load_fixture.h"

namespace samplefold::load::testing {
namespace {

namespace context = perfdata::context;
using perfdata::CpuMode;

/// A program at 0x1000, its file from offset 0 on, and the kernel.
class StackChainTest : public LoadTest {
protected:
    StackChainTest()
    {
        mmap(1, noTask, kernelBase, 0x1000, "[kernel.kallsyms]_text", kernelBase);
        mmap(2, 5, 0x1000, 0x1000, "/bin/p");
        begin();
    }
    std::string chain(const Told& told) { return chainOf(5, told); }
};

TEST_F(StackChainTest, CallersArePartsOfTheChainFromTheSampledFrameOutwards)
{
    EXPECT_EQ(chain({10, 0x1010, {context::User, 0x1010, 0x1020, 0x1030}}),
              "/bin/p+10 /bin/p+20 /bin/p+30");
}

TEST_F(StackChainTest, OnlyTheSampledFrameIsMarked)
{
    const auto attr = sample(5, {10, 0x1010, {context::User, 0x1010, 0x1020}});
    const auto all = frames();
    const Frame& sampled = all.at(attr.callsite.value());
    EXPECT_EQ(sampled.mark, 3);
    EXPECT_EQ(all.at(sampled.parent).mark, 0);
    EXPECT_EQ(all.at(sampled.parent).parent, -1);
}

TEST_F(StackChainTest, TheSampledAddressReplacesTheFirstOfTheChain)
{
    EXPECT_EQ(chain({10, 0x100c, {context::User, 0x1010, 0x1020}}), "/bin/p+c /bin/p+20");
}

TEST_F(StackChainTest, ASampleInTheKernelGoesOnInTheProgram)
{
    EXPECT_EQ(chain({10,
                     kernelBase + 0x10,
                     {context::Kernel, kernelBase + 0x11, kernelBase + 0x20, context::User, 0x1010},
                     CpuMode::Kernel}),
              "[kernel.kallsyms]+ffffffff81000010 [kernel.kallsyms]+ffffffff81000020 "
              "/bin/p+10");
}

TEST_F(StackChainTest, NothingIsReplacedWhereTheKernelsPartWasLeftOut)
{
    EXPECT_EQ(chain({10, kernelBase + 0x10, {context::User, 0x1010, 0x1020}, CpuMode::Kernel}),
              "[kernel.kallsyms]+ffffffff81000010 /bin/p+10 /bin/p+20");
}

TEST_F(StackChainTest, AMarkerOfAnEmptyPartChangesNothing)
{
    EXPECT_EQ(chain({10, 0x1010, {context::Kernel, context::User, 0x1010, 0x1020}}),
              "/bin/p+10 /bin/p+20");
}

TEST_F(StackChainTest, WithoutASampledAddressTheChainIsAll)
{
    Told told{10, 0, {context::User, 0x1010, 0x1020}};
    told.hasIp = false;
    EXPECT_EQ(chain(told), "/bin/p+10 /bin/p+20");
}

TEST_F(StackChainTest, AnEmptyChainIsTheSampledFrame)
{
    EXPECT_EQ(chain({10, 0x1010, {}}), "/bin/p+10");
    EXPECT_EQ(chain({10, 0x1010, {context::User}}), "/bin/p+10");
    EXPECT_EQ(chain({10, kernelBase + 4, {}, CpuMode::Kernel}),
              "[kernel.kallsyms]+ffffffff81000004");
}

TEST_F(StackChainTest, WithoutAddressAndChainThereIsAFrameStill)
{
    Told told{10, 0, {}};
    told.hasIp = false;
    EXPECT_EQ(chain(told), "-+0");
}

TEST_F(StackChainTest, AChainWithoutMarkersIsWhereTheSampleWas)
{
    EXPECT_EQ(chain({10, 0x1010, {0x1010, 0x1020}}), "/bin/p+10 /bin/p+20");
    EXPECT_EQ(chain({10, 0x1010, {0x1010, 0x1020}, CpuMode::Kernel}), "-+1010 -+1020")
        << "the program's addresses are nothing in the kernel";
}

TEST_F(StackChainTest, AddressesOfGuestsAreInNoMappingOfTheProcess)
{
    EXPECT_EQ(chain({10, 0x1010, {context::Guest, 0x1010, 0x1020}, CpuMode::GuestUser}),
              "-+1010 -+1020");
    EXPECT_EQ(chain({10, 0x1010, {context::User, 0x1010, context::GuestKernel, 0x1020}}),
              "/bin/p+10 -+1020");
}

TEST_F(StackChainTest, TheNumberOfADeferredUserPartIsNoFrame)
{
    const Told told{10,
                    kernelBase + 0x10,
                    {context::Kernel, kernelBase + 0x10, context::UserDeferred, 0x1020},
                    CpuMode::Kernel};
    EXPECT_EQ(chain(told), "[kernel.kallsyms]+ffffffff81000010");
    EXPECT_EQ(chain({11, 0x1010, {context::UserDeferred}}), "/bin/p+10") << "cut short";
    Told atMost{12,
                kernelBase + 0x10,
                {context::Kernel, kernelBase + 0x10, kernelBase + 0x20, context::UserDeferred, 7},
                CpuMode::Kernel};
    atMost.maxStack = 3;
    EXPECT_EQ(chain(atMost), "[kernel.kallsyms]+ffffffff81000010 "
                             "[kernel.kallsyms]+ffffffff81000020")
        << "it is no address that counts";
    run().stacks.reportQuality(run().quality);
    EXPECT_EQ(run().quality.count("call chains whose user part comes in a record of its own"), 3U);
}

TEST_F(StackChainTest, AChainOfAsManyAddressesAsAllowedEndsInAMark)
{
    Told told{10, 0x1010, {context::User, 0x1010, 0x1020, 0x1030}};
    told.maxStack = 4;
    EXPECT_EQ(chain(told), "/bin/p+10 /bin/p+20 /bin/p+30") << "the marker is not counted";
    told.maxStack = 3;
    EXPECT_EQ(chain(told), "/bin/p+10 /bin/p+20 /bin/p+30 -+1");
    run().stacks.reportQuality(run().quality);
    EXPECT_EQ(run().quality.count("call chains longer than the recording allows"), 1U);
}

TEST_F(StackChainTest, AChainMayHave127AddressesWhereTheRecordingDoesNotTell)
{
    Told told{10, 0x1010, {context::User}};
    for (std::uint64_t i = 0; i < 126; ++i)
        told.chain.push_back(0x1010 + i);
    sample(5, told);
    run().stacks.reportQuality(run().quality);
    EXPECT_EQ(run().quality.count("call chains longer than the recording allows"), 0U);
    told.chain.push_back(0x1fff);
    sample(5, told);
    run().stacks.reportQuality(run().quality);
    EXPECT_EQ(run().quality.count("call chains longer than the recording allows"), 1U);
}

TEST_F(StackChainTest, AChainThatGoesDownToTheSameCallersSharesTheirRows)
{
    const auto a = sample(5, {10, 0x1010, {context::User, 0x1010, 0x1020, 0x1030}});
    const auto b = sample(5, {11, 0x1014, {context::User, 0x1014, 0x1020, 0x1030}});
    const auto all = frames();
    EXPECT_NE(a.callsite, b.callsite);
    EXPECT_EQ(all.at(a.callsite.value()).parent, all.at(b.callsite.value()).parent);
    EXPECT_EQ(all.size(), 4U);
}

TEST_F(StackChainTest, ARecursionHasARowPerDepth)
{
    EXPECT_EQ(chain({10, 0x1010, {context::User, 0x1010, 0x1010, 0x1010}}),
              "/bin/p+10 /bin/p+10 /bin/p+10");
    EXPECT_EQ(rowsOf("dd_callsite"), 3);
}

/// As long as a record can be.
TEST_F(StackChainTest, AVeryLongChainIsTakenWhole)
{
    Told told{10, 1, {context::User}};
    told.maxStack = 0xffff;
    for (std::uint64_t i = 1; i < 8190; ++i)
        told.chain.push_back(i);
    sample(5, told);
    EXPECT_EQ(rowsOf("dd_callsite"), 8189);
}

} // namespace
} // namespace samplefold::load::testing
