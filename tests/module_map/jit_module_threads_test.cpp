#include "support/context_fixture.h"
#include "support/fake_jit_loader.h"
#include "support/hooked_table.h"

#include <atomic>
#include <barrier>
#include <chrono>
#include <thread>

namespace samplefold_test {
namespace {

class JitModuleThreads : public ContextTest {};

TEST_F(JitModuleThreads, TwoThreadsOnOneGeneratedModuleWriteOneFileRow)
{
    constexpr int rounds = 100;
    constexpr std::size_t framesPerThread = 5;
    for (int round = 0; round < rounds; ++round) {
        const log_ptr_t calls = std::make_shared<CallLog>();
        const auto store = tb2::make_counted<FakeDatabase>(calls);
        TestContext shared;
        shared.setDb(store);
        const auto module = makeShared<FakeJitModule>("/tmp/jit-1.dump", 0);
        std::barrier start(2);
        std::vector<Index> instances[2];
        const auto resolve = [&](std::vector<Index>& into) {
            start.arrive_and_wait();
            for (std::size_t i = 0; i < framesPerThread; ++i)
                into.push_back(shared.getJitSegmentInstance(Index(7), module));
        };
        std::thread other(resolve, std::ref(instances[1]));
        resolve(instances[0]);
        other.join();

        ASSERT_EQ(1u, store->table("dd_jit_file").rows.size());
        ASSERT_EQ(1u, store->table("dd_module_file").rows.size());
        ASSERT_EQ(1u, store->table("dd_module_file_attributes").rows.size());
        const FakeTable& segments = store->table("dd_module_segment");
        ASSERT_EQ(2 * framesPerThread, segments.rows.size());
        for (const auto& [key, row] : segments.rows) {
            ASSERT_EQ("s32:1", show(segments.at(key, 0)));
            ASSERT_EQ("s32:1", show(segments.at(key, 5)));
        }
        std::set<std::int32_t> distinct;
        for (const auto& ofThread : instances) {
            for (const Index key : ofThread)
                distinct.insert(shared.m_segInstToModuleSegment.at(key.value()));
        }
        ASSERT_EQ(2 * framesPerThread, distinct.size()) << "each frame has a segment of its own";
    }
}

TEST_F(JitModuleThreads, TheModuleIsLockedToTheEndButNotTheJitFile)
{
    const auto segments = tb2::make_counted<HookedTable>("dd_module_segment", log);
    context.setDb(db);
    context.m_moduleSegmentTable = segments;
    std::atomic<bool> enteredModule = false;
    std::thread onModule;
    segments->onRecord = [&] {
        std::thread onJitFile([&] {
            decltype(context.m_jitFileKeys)::accessor entry;
            EXPECT_TRUE(context.m_jitFileKeys.find(entry, ""));
        });
        onJitFile.join();
        onModule = std::thread([&] {
            decltype(context.m_jitModuleFileKeys)::accessor entry;
            EXPECT_TRUE(context.m_jitModuleFileKeys.find(entry, "module"));
            enteredModule = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_FALSE(enteredModule);
    };
    context.getJitSegmentInstance(Index(7), makeShared<FakeJitModule>("module", 0));
    onModule.join();
    EXPECT_TRUE(enteredModule);
}

} // namespace
} // namespace samplefold_test
