// Counter recordings against the lines that perf prints for them.

#include "driver/perfdata/oracle_case.h"
#include "perfdata/recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <tuple>

namespace samplefold::perfdata {
namespace {

using testing::OracleCase;

/// CPU, thread, value, time enabled, time running, time of the round, event. CPU and thread are -1
/// where the counter is not bound to one.
using CounterLine =
    std::tuple<int, int, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::string>;

std::vector<CounterLine> parseCounters(const std::string& text)
{
    std::vector<CounterLine> lines;
    std::istringstream stream(text);
    std::string line;
    std::getline(stream, line); // titles
    while (std::getline(stream, line)) {
        std::istringstream fields(line);
        CounterLine counter;
        auto& [cpu, thread, value, enabled, running, time, event] = counter;
        fields >> cpu >> thread >> value >> enabled >> running >> time >> event;
        lines.push_back(counter);
    }
    return lines;
}

/// A round's record follows the counters it closes; perf prints what they grew by since the last
/// round.
class CounterSink : public RecordSink {
public:
    explicit CounterSink(const Recording& recording) : m_recording(recording) {}

    std::vector<CounterLine> lines;

    void onThreadMap(const ThreadMapRecord& record) override
    {
        for (const ThreadMapEntry& thread : record.threads)
            m_threads.push_back(thread.tid);
    }
    void onStat(const StatRecord& record) override { m_open.push_back(record); }
    void onStatRound(const StatRoundRecord& round) override
    {
        for (const StatRecord& stat : m_open) {
            StatRecord& last = m_last[{stat.id.value(), stat.counterCpu, stat.threadIndex}];
            lines.emplace_back(static_cast<int>(stat.counterCpu), m_threads.at(stat.threadIndex),
                               stat.value - last.value, stat.timeEnabled - last.timeEnabled,
                               stat.timeRunning - last.timeRunning, round.roundTime,
                               m_recording.eventById(stat.id.value())->name);
            last = stat;
        }
        m_open.clear();
    }

private:
    const Recording& m_recording;
    std::vector<int> m_threads;
    std::map<std::tuple<std::uint64_t, std::uint32_t, std::uint32_t>, StatRecord> m_last;
    std::vector<StatRecord> m_open;
};

class CounterOracle : public ::testing::TestWithParam<OracleCase> {};

TEST_P(CounterOracle, HasTheSameCounters)
{
    const std::string content = GetParam().load("perf.data").value();
    const Recording recording = Recording::fromBytes(testing::bytesOf(content), GetParam().name);
    CounterSink sink(recording);
    recording.deliver(sink);
    std::vector<CounterLine> expected = parseCounters(GetParam().load("counters.txt").value());
    EXPECT_GE(expected.size(), 3u);
    std::sort(expected.begin(), expected.end());
    std::sort(sink.lines.begin(), sink.lines.end());
    EXPECT_EQ(sink.lines, expected);
}

INSTANTIATE_TEST_SUITE_P(Recordings, CounterOracle,
                         ::testing::ValuesIn(testing::casesWith("counters.txt")),
                         testing::caseName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(CounterOracle);

} // namespace
} // namespace samplefold::perfdata
