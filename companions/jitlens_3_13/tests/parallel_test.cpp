// Questions from several threads; run under the thread sanitizer too.

#include "loader_fixture.h"

#include <atomic>
#include <filesystem>
#include <latch>
#include <thread>
#include <vector>

namespace {

using jitlens_3_13::IModule;
using jitlens_3_13::symbol_t;
namespace code = jitlens_3_13::code;

class Parallel : public LoaderTest {
protected:
    static constexpr std::ptrdiff_t threads = 4;

    /// Runs `work(number)` on all threads at once.
    template <class Work>
    static void onThreads(const Work& work)
    {
        std::latch start(threads);
        std::vector<std::jthread> running;
        for (std::ptrdiff_t number = 0; number < threads; ++number)
            running.emplace_back([&start, &work, number] {
                start.arrive_and_wait();
                work(number);
            });
    }
};

TEST_F(Parallel, aFileIsReadOnceByFirstQuestionsAtOnce)
{
    DumpBuilder dump;
    for (std::uint64_t i = 0; i < 2000; ++i)
        dump.load(10 + i, 0x1000 + 16 * i, "f" + std::to_string(i), 16);
    add(dump);
    std::vector<boost::intrusive_ptr<IModule>> modules(threads);
    onThreads([&](std::ptrdiff_t number) {
        std::uint64_t rva = 0;
        loader->resolve(5000, 0x1000, pid, status, rva, modules[static_cast<std::size_t>(number)]);
    });
    // A second reading would have made a module of its own.
    for (const auto& module : modules)
        EXPECT_EQ(module, modules[0]);
    EXPECT_TRUE(modules[0]);
}

TEST_F(Parallel, threadsAskManyProcessesAtOnce)
{
    constexpr std::uint32_t processes = 30;
    for (std::uint32_t i = 0; i < processes; ++i) {
        DumpBuilder dump;
        dump.load(100, 0x1000 + i, "f" + std::to_string(i), 16);
        loader->addFile(pid + i, write("f" + std::to_string(i), dump.bytes()));
    }
    std::atomic<std::uint32_t> right{0};
    onThreads([&](std::ptrdiff_t) {
        for (std::uint32_t i = 0; i < 2 * processes; ++i) { // the second half has no files
            std::uint64_t rva = 0;
            boost::intrusive_ptr<IModule> module;
            symbol_t symbol;
            const auto answer = loader->resolve(100, 0x1000 + i, pid + i, status, rva, module);
            if (i >= processes)
                right += answer == code::noCode;
            else
                right += answer == code::found &&
                         loader->symbols()->findSymbol(*module, rva, symbol) &&
                         symbol.name == "f" + std::to_string(i);
        }
    });
    EXPECT_EQ(right, static_cast<std::uint32_t>(threads) * 2 * processes);
}

TEST_F(Parallel, regionsAndSourcesAreAskedAtOnce)
{
    add("x", "1000 10 f\n2000 10 g\n");
    std::atomic<int> right{0};
    onThreads([&](std::ptrdiff_t number) {
        jitlens_3_13::region_t found;
        if (number % 2 == 0)
            right += loader->findRegion(1, 0x1800, 0x2800, pid, status, found) == code::found &&
                     found.first == 0x2000;
        else
            right += loader->sources(pid).size() == 1;
    });
    EXPECT_EQ(right, threads);
}

} // namespace
