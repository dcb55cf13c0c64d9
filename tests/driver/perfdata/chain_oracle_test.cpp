// Call chains and branch stacks against what perf prints for the same recordings.

#include "driver/perfdata/oracle_case.h"
#include "driver/perfdata/recorded_sink.h"
#include "perfdata/recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <sstream>

namespace samplefold::perfdata {
namespace {

using testing::OracleCase;
using testing::parseChains;
using testing::PrintedChain;
using testing::RecordedSink;

std::vector<std::uint64_t> addressesOf(const Sample& sample)
{
    std::vector<std::uint64_t> ips;
    for (const std::uint64_t entry : sample.callchain)
        if (!context::isMarker(entry)) ips.push_back(entry);
    return ips;
}

/// The printed chain leaves out entries of unknown mappings, but never invents or reorders any.
bool isSubsequence(const std::vector<std::uint64_t>& part, const std::vector<std::uint64_t>& whole)
{
    auto at = whole.begin();
    for (const std::uint64_t entry : part) {
        at = std::find(at, whole.end(), entry);
        if (at == whole.end()) return false;
        ++at;
    }
    return true;
}

RecordedSink deliverAll(const Recording& recording)
{
    RecordedSink sink;
    recording.deliver(sink);
    return sink;
}

class ChainOracle : public ::testing::TestWithParam<OracleCase> {};

TEST_P(ChainOracle, HasTheSameAddressesInTheSameOrder)
{
    const std::string content = GetParam().load("perf.data").value();
    const Recording recording = Recording::fromBytes(testing::bytesOf(content), GetParam().name);
    const RecordedSink sink = deliverAll(recording);
    if (recording.events().front().attr.samples(sampleBit::StackUser))
        GTEST_SKIP() << "perf unwinds the stack dump: its chains are not those of the records";
    if ((recording.events().front().attr.branchSampleType & branchBit::CallStack) != 0)
        GTEST_SKIP() << "perf builds its chains from the branch stacks";
    const std::vector<PrintedChain> printed =
        parseChains(GetParam().load("callchain-abs.txt").value());
    ASSERT_EQ(printed.size(), sink.samples.size());
    std::size_t equal = 0;
    for (std::size_t index = 0; index < printed.size(); ++index) {
        const std::vector<std::uint64_t> ours = addressesOf(sink.samples[index]);
        ASSERT_EQ(sink.samples[index].time, printed[index].timeNs) << "sample " << index;
        ASSERT_TRUE(isSubsequence(printed[index].ips, ours)) << "sample " << index;
        equal += ours == printed[index].ips ? 1u : 0u;
    }
    EXPECT_GE(equal * 10, printed.size() * 8)
        << "only " << equal << " of " << printed.size() << " are complete";
}

INSTANTIATE_TEST_SUITE_P(Recordings, ChainOracle,
                         ::testing::ValuesIn(testing::casesWith("callchain-abs.txt")),
                         testing::caseName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ChainOracle);

/// A branch as perf prints it: from/to/M or P or -/X or -/A or -/cycles.
std::string printedBranch(const Branch& branch)
{
    char text[96];
    const char outcome = branch.mispredicted() ? 'M' : branch.predicted() ? 'P' : '-';
    std::snprintf(text, sizeof text, "0x%" PRIx64 "/0x%" PRIx64 "/%c/%c/%c/%u", branch.from,
                  branch.to, outcome, branch.inTransaction() ? 'X' : '-',
                  branch.aborted() ? 'A' : '-', branch.cycles());
    return text;
}

/// The branches of a line, cut after the cycles.
std::vector<std::string> parseBranches(const std::string& line)
{
    std::vector<std::string> branches;
    std::istringstream stream(line);
    for (std::string token; stream >> token;) {
        std::size_t end = 0;
        if (std::count(token.begin(), token.end(), '/') < 5 || !token.starts_with("0x")) continue;
        for (int slashes = 0; end < token.size() && slashes < 6; ++end)
            slashes += token[end] == '/' ? 1 : 0;
        branches.push_back(
            token.substr(0, token.back() == '/' && end == token.size() ? end - 1 : end));
        if (branches.back().ends_with("/")) branches.back().pop_back();
    }
    return branches;
}

class BranchOracle : public ::testing::TestWithParam<OracleCase> {};

TEST_P(BranchOracle, HasTheSameBranchesInTheSameOrder)
{
    const std::string content = GetParam().load("perf.data").value();
    const Recording recording = Recording::fromBytes(testing::bytesOf(content), GetParam().name);
    const RecordedSink sink = deliverAll(recording);
    std::istringstream lines(GetParam().load("brstack.txt").value());
    std::string line;
    std::size_t compared = 0;
    for (const Sample& sample : sink.samples) {
        ASSERT_TRUE(std::getline(lines, line)) << "sample " << compared;
        const std::vector<std::string> printed = parseBranches(line);
        ASSERT_EQ(sample.branches.size(), printed.size()) << line;
        for (std::size_t index = 0; index < printed.size(); ++index)
            ASSERT_EQ(printedBranch(sample.branches[index]), printed[index])
                << "sample " << compared;
        ++compared;
    }
    EXPECT_FALSE(std::getline(lines, line)) << line;
}

INSTANTIATE_TEST_SUITE_P(Recordings, BranchOracle,
                         ::testing::ValuesIn(testing::casesWith("brstack.txt")), testing::caseName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(BranchOracle);

} // namespace
} // namespace samplefold::perfdata
