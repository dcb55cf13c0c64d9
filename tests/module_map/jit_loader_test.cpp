#include "module_map/allocation_probe.h"
#include "support/context_fixture.h"
#include "support/fake_jit_loader.h"
#include "support/temporary_folder.h"

namespace samplefold_test {
namespace {

namespace code = jitlens_3_13::code;

constexpr std::uint32_t g_pid = 42;
constexpr std::uint64_t g_untouched = 0x1234;

class JitLoader : public ContextTest {
protected:
    /// Puts the fake in the place of the loader that the first createJitLoader would make.
    void useFake() { context.m_jitSession = loader; }
    void knowProcess(std::uint32_t pid = g_pid)
    {
        useFake();
        context.createJitLoader(pid);
    }

    boost::intrusive_ptr<FakeJitLoader> loader = makeShared<FakeJitLoader>();
};

TEST_F(JitLoader, IsMadeWithAnEmptyListForAnEmptyOption)
{
    context.createJitLoader(g_pid);
    ASSERT_NE(nullptr, context.m_jitSession);
    EXPECT_NE(0u, context.m_jitStatus);
    EXPECT_EQ(context.m_jitSession, context.getJitLoader(g_pid));
}

TEST_F(JitLoader, IsMadeWithAnEmptyListWhenNoDirectoryExists)
{
    context.m_jitOptions = "/no/such/directory;;/nor/this";
    context.createJitLoader(g_pid);
    ASSERT_NE(nullptr, context.m_jitSession);
    EXPECT_TRUE(context.m_jitSession->sources(g_pid).empty());
}

TEST_F(JitLoader, LooksInTheDirectoriesOfTheOptionWhenItIsMade)
{
    const TemporaryFolder root;
    const std::string first = root.addFolder("first");
    const std::string second = root.addFolder("second");
    constexpr std::uint32_t pid = 2000000003; // above every process id that a system gives
    const std::string map = "perf-" + std::to_string(pid) + ".map";
    std::ofstream(second + "/" + map) << "1000 100 generated\n";
    context.m_jitOptions = first + ";" + second;
    context.createJitLoader(pid);
    std::uint64_t rva = g_untouched;
    EXPECT_EQ(code::found, context.resolveAddrAsJit(0x1010, 1, pid, &rva));
    EXPECT_EQ(code::noCode, context.resolveAddrAsJit(0x3000, 1, pid, &rva));
}

TEST_F(JitLoader, IsNeitherMadeNorEnteredForProcessZero)
{
    context.createJitLoader(0);
    EXPECT_EQ(nullptr, context.m_jitSession);
    EXPECT_TRUE(context.m_jitLoaders.empty());
    EXPECT_EQ(0u, context.m_jitStatus);
}

TEST_F(JitLoader, IsNotGivenForProcessZeroAlsoWhenOneExists)
{
    knowProcess();
    context.createJitLoader(0);
    EXPECT_EQ(nullptr, context.getJitLoader(0));
    EXPECT_EQ(1u, context.m_jitLoaders.size());
    {
        decltype(context.m_jitLoaders)::accessor entry;
        context.m_jitLoaders.insert(entry, 0);
        entry->second = loader;
    }
    EXPECT_EQ(nullptr, context.getJitLoader(0)) << "also when a subclass has entered it";
}

TEST_F(JitLoader, IsSharedByAllProcessesAndAttachedOnce)
{
    context.m_jitDataPath = "/where/the/data/is";
    knowProcess(1);
    knowProcess(2);
    EXPECT_EQ(loader, context.getJitLoader(1));
    EXPECT_EQ(loader, context.getJitLoader(2));
    EXPECT_EQ(std::vector<std::string>{"/where/the/data/is"}, loader->attachedTo);
    EXPECT_EQ(77u, context.m_jitStatus);
}

TEST_F(JitLoader, IsAttachedAgainWhileTheStatusStaysZero)
{
    loader->statusOnAttach = 0;
    knowProcess(1);
    knowProcess(2);
    EXPECT_EQ(2u, loader->attachedTo.size());
}

TEST_F(JitLoader, IsEnteredOnceForARepeatedProcess)
{
    knowProcess();
    knowProcess();
    EXPECT_EQ(1u, context.m_jitLoaders.size());
    EXPECT_EQ(loader, context.getJitLoader(g_pid));
}

TEST_F(JitLoader, TakesThePlaceOfWhatTheEntryOfARepeatedProcessHeld)
{
    knowProcess();
    {
        decltype(context.m_jitLoaders)::accessor entry;
        ASSERT_TRUE(context.m_jitLoaders.find(entry, g_pid));
        entry->second = makeShared<FakeJitLoader>();
    }
    context.createJitLoader(g_pid);
    EXPECT_EQ(loader, context.getJitLoader(g_pid));
}

TEST_F(JitLoader, IsEnteredForTheProcessBeforeItIsAttached)
{
    class Attached : public FakeJitLoader {
    public:
        explicit Attached(const TestContext& context) : m_context(context) {}
        void attach(const char* dataPath, std::uint32_t* status) override
        {
            entered = m_context.getJitLoader(g_pid) == this;
            FakeJitLoader::attach(dataPath, status);
        }
        bool entered = false;

    private:
        const TestContext& m_context;
    };
    const auto attached = makeShared<Attached>(context);
    context.m_jitSession = attached;
    context.createJitLoader(g_pid);
    EXPECT_EQ(1u, attached->attachedTo.size());
    EXPECT_TRUE(attached->entered);
}

TEST_F(JitLoader, IsMadeAndGivenAlsoWithJitOff)
{
    context.m_jitEnabled = false;
    context.createJitLoader(g_pid);
    ASSERT_NE(nullptr, context.m_jitSession);
    EXPECT_EQ(context.m_jitSession, context.getJitLoader(g_pid));
}

TEST_F(JitLoader, IsNotMadeForAProcessThatIsAskedAbout)
{
    knowProcess();
    EXPECT_EQ(nullptr, context.getJitLoader(g_pid + 1));
    EXPECT_EQ(1u, context.m_jitLoaders.size());
}

TEST_F(JitLoader, WithJitOffAnAddressIsNoJitCodeAndNobodyIsAsked)
{
    knowProcess();
    context.m_jitEnabled = false;
    std::uint64_t rva = g_untouched;
    EXPECT_EQ(4u, context.resolveAddrAsJit(0x1000, 5, g_pid, &rva));
    EXPECT_EQ(g_untouched, rva);
    EXPECT_TRUE(loader->questions.empty());
}

TEST_F(JitLoader, WithoutATimeAnAddressIsNoJitCodeAndTheRvaIsUntouched)
{
    knowProcess();
    loader->answer = code::found;
    std::uint64_t rva = g_untouched;
    EXPECT_EQ(4u, context.resolveAddrAsJit(0x1000, 0, g_pid, &rva));
    EXPECT_EQ(g_untouched, rva);
    EXPECT_TRUE(loader->questions.empty());
}

TEST_F(JitLoader, InAnUnknownProcessAnAddressIsNoJitCodeAndTheRvaIsUntouched)
{
    knowProcess();
    loader->answer = code::found;
    for (const std::uint32_t pid : {0u, g_pid + 1}) {
        std::uint64_t rva = g_untouched;
        EXPECT_EQ(4u, context.resolveAddrAsJit(0x1000, 5, pid, &rva));
        EXPECT_EQ(g_untouched, rva);
    }
    EXPECT_TRUE(loader->questions.empty());
}

TEST_F(JitLoader, TheRvaIsStoredWhateverTheLoaderAnswers)
{
    knowProcess();
    for (const std::uint32_t answer : {0u, 4u, 2u, 0xFFFFFFFFu}) {
        loader->answer = answer;
        loader->answerRva = 0xFEDCBA9876543210 + answer;
        loader->rvaBefore = 1;
        std::uint64_t rva = g_untouched;
        EXPECT_EQ(answer, context.resolveAddrAsJit(0x1000, 5, g_pid, &rva));
        EXPECT_EQ(loader->answerRva, rva);
        EXPECT_EQ(0u, loader->rvaBefore) << "the relative address starts as 0";
    }
}

TEST_F(JitLoader, TheQuestionHasTimeAddressProcessAndStatusAndTheRvaMayBeUnwanted)
{
    knowProcess();
    loader->answer = code::found;
    EXPECT_EQ(code::found, context.resolveAddrAsJit(0xFFFFFFFF00001000, 5, g_pid, nullptr));
    EXPECT_EQ((std::vector<FakeJitLoader::question_t>{{5, 0xFFFFFFFF00001000, g_pid, 77}}),
              loader->questions);
}

TEST_F(JitLoader, NeitherTheModuleNorTheLoaderIsKeptByAQuestion)
{
    knowProcess();
    // Counts its own end.
    class Counted : public FakeJitModule {
    public:
        explicit Counted(int& ended) : FakeJitModule("m", 0), m_ended(ended) {}
        ~Counted() override { ++m_ended; }

    private:
        int& m_ended;
    };
    int ended = 0;
    loader->answer = code::found;
    loader->module = makeShared<Counted>(ended);
    context.resolveAddrAsJit(0x1000, 5, g_pid, nullptr);
    EXPECT_EQ(0, ended);
    loader->module = nullptr;
    EXPECT_EQ(1, ended);
}

TEST_F(JitLoader, AQuestionAllocatesNothing)
{
    knowProcess();
    loader->answer = code::found;
    loader->module = makeShared<FakeJitModule>("module", 0);
    loader->questions.reserve(100);
    std::uint64_t rva = 0;
    const std::uint64_t before = samplefold_1::test::allocationCounts().allocations;
    for (std::uint64_t ip = 0; ip < 100; ++ip)
        context.resolveAddrAsJit(ip, 5, g_pid, &rva);
    EXPECT_EQ(before, samplefold_1::test::allocationCounts().allocations);
    EXPECT_EQ(100u, loader->questions.size());
}

} // namespace
} // namespace samplefold_test
