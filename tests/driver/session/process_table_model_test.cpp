// Lives of process ids against a list of when they began.
#include "session/process_table.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

namespace samplefold::session {
namespace {

class ProcessTableModelTest : public ::testing::TestWithParam<int> {};

/// The newest life that had begun by then, else the oldest. The first may have been there always.
TEST_P(ProcessTableModelTest, ATickBelongsToTheLifeThatTheForksTell)
{
    std::mt19937_64 random(static_cast<std::uint64_t>(GetParam()));
    ProcessTable table;
    std::map<std::int32_t, std::vector<std::pair<std::uint64_t, Process*>>> lives;
    std::uint64_t tick = 10;
    for (int i = 0; i < 60; ++i) {
        tick += 1 + random() % 5;
        const auto pid = static_cast<std::int32_t>(random() % 6) - 1;
        auto& known = lives[pid];
        if (random() % 3 == 0 && known.empty()) {
            known.emplace_back(0, &table.newest(pid));
        } else if (random() % 2 == 0) {
            if (!known.empty()) known.back().second->end = tick;
            known.emplace_back(tick, &table.begin(pid, tick));
        }
    }
    for (int i = 0; i < 2000; ++i) {
        const auto pid = static_cast<std::int32_t>(random() % 6) - 1;
        const std::uint64_t asked = 1 + random() % (tick + 20);
        auto& known = lives[pid];
        Process& answer = table.at(pid, asked);
        EXPECT_EQ(answer.pid, pid);
        if (known.empty()) known.emplace_back(0, &answer); // it is made for the question
        const Process* expected = known.front().second;
        for (const auto& [start, process] : known) {
            if (start <= asked) expected = process;
        }
        ASSERT_EQ(&answer, expected) << pid << " at " << asked;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ProcessTableModelTest, ::testing::Range(1, 40));

} // namespace
} // namespace samplefold::session
