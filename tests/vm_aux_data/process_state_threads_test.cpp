#include <samplefold_1/vm_aux_data.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <map>
#include <random>
#include <thread>
#include <vector>

namespace samplefold_test {
namespace {

using samplefold_1::PerfProcessInfo;
using samplefold_1::VmAuxData;

constexpr std::uint32_t g_processes = 8;
constexpr std::uint64_t g_starts[] = {1000, 2000, 3000};

/// Three spans of one tick per process.
void addRecords(VmAuxData& data)
{
    for (std::uint32_t pid = 1; pid <= g_processes; ++pid) {
        VmAuxData::accessor entry;
        data.insert(entry, pid);
        for (const std::uint64_t start : g_starts) {
            PerfProcessInfo& record = *entry->second.grow_by(1);
            record.firstTsc = record.lastTsc = start;
        }
    }
}

/// Where a tick belongs: the starts of the later spans never move, so that does not depend on the
/// order of the calls.
std::uint64_t spanOf(std::uint64_t tsc)
{
    return tsc < g_starts[1] ? 0 : tsc < g_starts[2] ? 1 : 2;
}

struct question_t {
    std::uint64_t tsc;
    std::uint32_t pid;
};

std::vector<question_t> randomQuestions(std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    std::vector<question_t> questions(5000);
    for (question_t& one : questions)
        one = {random() % 4000 + 1, static_cast<std::uint32_t>(random() % g_processes + 1)};
    return questions;
}

TEST(ProcessStateThreads, CallsFromSeveralThreadsWidenTheSpansLikeCallsFromOne)
{
    constexpr std::uint64_t threadCount = 4;
    VmAuxData data;
    addRecords(data);
    std::vector<std::vector<question_t>> questions;
    for (std::uint64_t i = 0; i < threadCount; ++i)
        questions.push_back(randomQuestions(i + 1));

    std::atomic<int> misplaced = 0;
    std::vector<std::thread> threads;
    for (const auto& mine : questions) {
        threads.emplace_back([&data, &mine, &misplaced] {
            VmAuxData::accessor entry; // handed from call to call
            for (const question_t& one : mine) {
                std::uint64_t index = 0;
                const int found = data.getProcessState(one.tsc, one.pid, index, entry);
                if (found != 1 || index != spanOf(one.tsc)) ++misplaced;
                ++entry->second[index].owner; // a plain write, under the lock that is held
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0, misplaced);

    struct total_t {
        std::uint64_t first;
        std::uint64_t last;
        std::uint64_t calls = 0;
    };
    std::map<std::pair<std::uint32_t, std::uint64_t>, total_t> totals;
    for (std::uint32_t pid = 1; pid <= g_processes; ++pid) {
        for (std::uint64_t i = 0; i < 3; ++i)
            totals[{pid, i}] = {g_starts[i], g_starts[i]};
    }
    for (const auto& ofThread : questions) {
        for (const question_t& one : ofThread) {
            total_t& total = totals[{one.pid, spanOf(one.tsc)}];
            total.first = std::min(total.first, one.tsc);
            total.last = std::max(total.last, one.tsc);
            ++total.calls;
        }
    }
    for (const auto& [place, total] : totals) {
        VmAuxData::accessor entry;
        ASSERT_TRUE(data.find(entry, place.first));
        const PerfProcessInfo& record = entry->second[place.second];
        EXPECT_EQ(total.first, record.firstTsc);
        EXPECT_EQ(total.last, record.lastTsc);
        EXPECT_EQ(total.calls, record.owner) << "no write under the lock was lost";
    }
}

TEST(ProcessStateThreads, ProcessesThatSeveralThreadsMissAreEnteredOnce)
{
    VmAuxData data;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&data] {
            for (std::uint32_t pid = 0; pid < 200; ++pid) {
                VmAuxData::accessor entry;
                std::uint64_t index = 0;
                data.getProcessState(5, pid, index, entry);
                // Whoever meets the vector empty is its driver.
                if (entry->second.empty()) entry->second.grow_by(1);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(200u, data.size());
    for (auto& [pid, records] : data)
        EXPECT_EQ(1u, records.size()) << pid;
}

TEST(ProcessStateThreads, TheProcessStaysLockedUntilTheCallerReleasesIt)
{
    VmAuxData data;
    addRecords(data);
    VmAuxData::accessor held;
    std::uint64_t index = 0;
    data.getProcessState(1500, 1, index, held);
    std::atomic<bool> entered = false;
    std::thread other([&] {
        VmAuxData::accessor entry;
        std::uint64_t position = 0;
        data.getProcessState(1600, 2, position, entry); // another process is free
        data.getProcessState(1600, 1, position, entry);
        entered = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(entered);
    EXPECT_EQ(1500u, held->second[0].lastTsc);
    held.release();
    other.join();
    EXPECT_TRUE(entered);
}

} // namespace
} // namespace samplefold_test
