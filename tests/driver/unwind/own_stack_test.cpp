// The stack of the test itself, against what the C library's backtrace() finds.
#include "driver/session/owned_space.h"
#include "unwind/stack_unwinder.h"

#include <execinfo.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <ucontext.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <deque>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace samplefold::unwind {
namespace {

/// Bits of the recording's mask by REG_* of <ucontext.h>: ax to ip, then r8 to r15.
constexpr std::array<int, 17> g_recordedOrder{REG_RAX, REG_RBX, REG_RCX, REG_RDX, REG_RSI, REG_RDI,
                                              REG_RBP, REG_RSP, REG_RIP, REG_R8,  REG_R9,  REG_R10,
                                              REG_R11, REG_R12, REG_R13, REG_R14, REG_R15};
constexpr std::uint64_t g_mask = 0xff01ff;

/// A copy of a thread's stack with its registers, and what the C library says about it.
struct Snapshot {
    std::vector<std::uint64_t> registers;
    std::vector<std::byte> stack;
    std::vector<std::uint64_t> callers; ///< return addresses; the caller of the snapshot first
};

/// Copies at most `most` bytes of the stack that `context` tells, up to where its mapping ends.
void copyStack(const ucontext_t& context, std::size_t most, Snapshot& snapshot)
{
    for (const int number : g_recordedOrder)
        snapshot.registers.push_back(static_cast<std::uint64_t>(context.uc_mcontext.gregs[number]));
    const auto pointer = static_cast<std::uint64_t>(context.uc_mcontext.gregs[REG_RSP]);
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        unsigned long first = 0;
        unsigned long end = 0;
        if (std::sscanf(line.c_str(), "%lx-%lx", &first, &end) != 2) continue;
        if (pointer < first || pointer >= end) continue;
        // Not by memcpy, which sanitizers keep away from what lies between variables.
        std::ifstream memory("/proc/self/mem", std::ios::binary);
        memory.seekg(static_cast<std::streamoff>(pointer));
        snapshot.stack.resize(std::min<std::size_t>(most, end - pointer));
        memory.read(reinterpret_cast<char*>(snapshot.stack.data()),
                    static_cast<std::streamsize>(snapshot.stack.size()));
        ASSERT_TRUE(memory);
    }
}

[[gnu::noinline]] void takeSnapshot(Snapshot& snapshot, std::size_t most)
{
    ucontext_t context;
    getcontext(&context);
    copyStack(context, most, snapshot);
    std::array<void*, 200> callers{};
    const int count = backtrace(callers.data(), static_cast<int>(callers.size()));
    // What comes before is in here, and under a sanitizer in its own backtrace.
    const auto end = callers.begin() + count;
    for (auto i = std::find(callers.begin(), end, __builtin_return_address(0)); i != end; ++i)
        snapshot.callers.push_back(reinterpret_cast<std::uint64_t>(*i));
}

[[gnu::noinline]] int recurse(int depth, Snapshot& snapshot, std::size_t most)
{
    std::array<volatile char, 64> room{};
    if (depth == 0) {
        takeSnapshot(snapshot, most);
        return room[0];
    }
    room[1] = static_cast<char>(depth);
    return recurse(depth - 1, snapshot, most) + room[1];
}

class OwnStack : public ::testing::Test {
protected:
    OwnStack()
    {
        std::ifstream maps("/proc/self/maps");
        for (std::string line; std::getline(maps, line);) {
            std::istringstream words(line);
            std::string range, rights, offset, device, inode, path;
            words >> range >> rights >> offset >> device >> inode >> path;
            if (rights.find('x') == std::string::npos) continue;
            const std::size_t dash = range.find('-');
            m_paths.push_back(path.starts_with("/") ? path : "");
            m_space.map({std::stoull(range.substr(0, dash), nullptr, 16),
                         std::stoull(range.substr(dash + 1), nullptr, 16) - 1,
                         std::stoull(offset, nullptr, 16),
                         static_cast<std::uint32_t>(m_paths.size() - 1), &m_paths.back(), true},
                        1);
        }
    }

    Stop unwind(const Snapshot& snapshot, std::vector<std::uint64_t>& frames,
                std::uint64_t mask = g_mask, std::uint64_t abi = 2)
    {
        const perfdata::Registers registers{
            abi,
            mask,
            {reinterpret_cast<const std::byte*>(snapshot.registers.data()),
             snapshot.registers.size()}};
        return m_unwinder.unwind(m_space, 1, registers, snapshot.stack, frames);
    }

    /// The callers in an unwound stack: all but the sampled address.
    static std::vector<std::uint64_t> callersOf(const std::vector<std::uint64_t>& frames)
    {
        return {frames.begin() + 1, frames.end()};
    }

    std::deque<std::string> m_paths;
    session::OwnedSpace m_space;
    StackUnwinder m_unwinder{
        [this](std::uint32_t segment) -> const std::string& { return m_paths.at(segment); },
        Machine::x86_64};
};

TEST_F(OwnStack, IsFollowedToTheStartOfTheProgram)
{
    Snapshot snapshot;
    recurse(20, snapshot, SIZE_MAX);
    std::vector<std::uint64_t> frames;
    EXPECT_EQ(unwind(snapshot, frames), Stop::complete);
    EXPECT_EQ(callersOf(frames), snapshot.callers);
    EXPECT_GT(frames.size(), 25U);
}

TEST_F(OwnStack, OfAThreadIsFollowedToItsStart)
{
    Snapshot snapshot;
    std::thread([&] { recurse(3, snapshot, SIZE_MAX); }).join();
    std::vector<std::uint64_t> frames;
    EXPECT_EQ(unwind(snapshot, frames), Stop::complete);
    EXPECT_EQ(callersOf(frames), snapshot.callers);
}

TEST_F(OwnStack, EndsWhereTheCopyEnds)
{
    Snapshot snapshot;
    recurse(20, snapshot, 1024);
    std::vector<std::uint64_t> frames;
    EXPECT_EQ(unwind(snapshot, frames), Stop::stackEnd);
    const std::vector<std::uint64_t> callers = callersOf(frames);
    ASSERT_LT(callers.size(), snapshot.callers.size());
    EXPECT_TRUE(std::equal(callers.begin(), callers.end(), snapshot.callers.begin()));
}

Snapshot g_inHandler;

/// Its caller by the tables is the code that the kernel made return from it, and that one's caller
/// the interrupted code.
void onSignal(int)
{
    takeSnapshot(g_inHandler, SIZE_MAX);
}

TEST_F(OwnStack, LeadsThroughASignalHandler)
{
    const auto before = std::signal(SIGUSR1, &onSignal);
    g_inHandler = {};
    ::raise(SIGUSR1);
    std::signal(SIGUSR1, before);
    std::vector<std::uint64_t> frames;
    EXPECT_EQ(unwind(g_inHandler, frames), Stop::complete);
    EXPECT_EQ(callersOf(frames), g_inHandler.callers);
}

TEST_F(OwnStack, DeeperThanTheLimitIsCutThere)
{
    Snapshot snapshot;
    recurse(static_cast<int>(StackUnwinder::maxFrames) + 10, snapshot, SIZE_MAX);
    std::vector<std::uint64_t> frames;
    EXPECT_EQ(unwind(snapshot, frames), Stop::tooDeep);
    EXPECT_EQ(frames.size(), StackUnwinder::maxFrames);
}

TEST_F(OwnStack, WhatASampleLacksIsTheCause)
{
    Snapshot snapshot;
    takeSnapshot(snapshot, SIZE_MAX);
    std::vector<std::uint64_t> frames;
    EXPECT_EQ(unwind(snapshot, frames, g_mask, 1), Stop::abi32);
    EXPECT_EQ(frames.size(), 1U) << "the sampled address";
    Snapshot bare;
    EXPECT_EQ(unwind(bare, frames, g_mask, 0), Stop::noRegisters);
    EXPECT_TRUE(frames.empty());
    snapshot.stack.clear();
    EXPECT_EQ(unwind(snapshot, frames), Stop::noStack);
}

} // namespace
} // namespace samplefold::unwind
