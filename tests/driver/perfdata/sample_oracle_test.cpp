// Our samples against the lines that perf prints for the same recordings.

#include "driver/perfdata/oracle_case.h"
#include "perfdata/recording.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace samplefold::perfdata {
namespace {

using testing::OracleCase;
using testing::SampleLine;

/// Recordings without a text of samples, and why.
const std::map<std::string, std::string> casesWithoutSamples = {
    {"hotspot-true-v1", "no samples in it"},
    {"quipper-piped.corrupted.zero_size_sample-3.2", "damaged before its first sample"},
    {"stat-intervals", "counters only"},
    {"stat-total", "counters only"},
};

/// Events named otherwise in the text than in the recording, and why.
const std::map<std::string, std::map<std::string, std::string>> renamedEvents = {
    // The text was made from a copy whose records were expanded and whose features were lost, so
    // perf
    // had to generate the name.
    {"lpd-sleep-compressed2", {{"cycles:Pu", "cycles:uppp"}}},
};

/// Writes a line per sample and group member, with the columns that the text has.
class LineSink : public RecordSink {
public:
    LineSink(const Recording& recording, const SampleLine& pattern,
             std::map<std::string, std::string> renamed)
        : m_pattern(pattern), m_renamed(std::move(renamed)), m_expander(recording)
    {
    }

    void onSample(const Sample& sample) override
    {
        for (const ReadExpander::Member& member : m_expander.expand(sample))
            lines.push_back(line(sample, member));
    }

    std::vector<SampleLine> lines;

private:
    SampleLine line(const Sample& sample, const ReadExpander::Member& member) const
    {
        SampleLine out;
        out.pid = sample.pid;
        out.tid = sample.tid;
        out.timeNs = sample.time;
        out.ip = sample.ip;
        out.event = member.event->name;
        if (const auto renamed = m_renamed.find(out.event); renamed != m_renamed.end())
            out.event = renamed->second;
        if (m_pattern.cpu && sample.hasCpu()) out.cpu = sample.cpu;
        if (m_pattern.period && (sample.hasPeriod() || (sample.has & sampleBit::Read) != 0))
            out.period = member.period;
        if (m_pattern.addr) out.addr = sample.addr;
        return out;
    }

    SampleLine m_pattern;
    std::map<std::string, std::string> m_renamed;
    ReadExpander m_expander;
};

class SampleOracle : public ::testing::TestWithParam<OracleCase> {};

TEST_P(SampleOracle, ListsTheSameSamplesInTheSameOrder)
{
    const OracleCase& oracle = GetParam();
    const auto content = oracle.load("perf.data");
    ASSERT_TRUE(content);
    const Recording recording = Recording::fromBytes(testing::bytesOf(*content), oracle.name);
    const auto text = oracle.load("samples.txt");
    if (!text) {
        ASSERT_TRUE(casesWithoutSamples.contains(oracle.name))
            << "no text to compare with and no reason why";
        EXPECT_EQ(recording.countOf(RecordType::Sample), 0u);
        return;
    }
    const std::vector<SampleLine> expected = testing::parseSampleLines(*text);
    ASSERT_FALSE(expected.empty());
    const auto renamed = renamedEvents.find(oracle.name);
    LineSink sink(recording, expected.front(),
                  renamed == renamedEvents.end() ? std::map<std::string, std::string>()
                                                 : renamed->second);
    const DeliveryStats stats = recording.deliver(sink);
    EXPECT_EQ(stats.badRecords, 0u);
    EXPECT_EQ(stats.unknownIdSamples, 0u);
    ASSERT_EQ(sink.lines.size(), expected.size());
    for (std::size_t index = 0; index < expected.size(); ++index)
        ASSERT_EQ(sink.lines[index].text(), expected[index].text()) << "line " << index + 1;
}

INSTANTIATE_TEST_SUITE_P(Recordings, SampleOracle, ::testing::ValuesIn(testing::allCases()),
                         testing::caseName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(SampleOracle);

TEST(OracleCollection, IsThere)
{
    EXPECT_GE(testing::keptCases().size(), 10u);
    if (testing::sharedCases().empty())
        GTEST_SKIP() << "the larger collection is not in " << testing::sharedFolder();
    EXPECT_EQ(testing::sharedCases().size(), 55u);
}

} // namespace
} // namespace samplefold::perfdata
