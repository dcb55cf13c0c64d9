// Side-band records against the lines of perf's dump of the same recordings.

#include "driver/perfdata/oracle_case.h"
#include "perfdata/recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <set>
#include <sstream>

namespace samplefold::perfdata {
namespace {

using testing::OracleCase;
using Number = unsigned long long;

[[gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...)
{
    char text[4352];
    va_list arguments;
    va_start(arguments, pattern);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): version 14 does not see va_start
    std::vsnprintf(text, sizeof text, pattern, arguments);
    va_end(arguments);
    return text;
}

/// Runs of blanks become one, and none stay at the end.
std::string withSingleBlanks(const std::string& line)
{
    std::istringstream stream(line);
    std::string text;
    for (std::string token; stream >> token;)
        text += (text.empty() ? "" : " ") + token;
    return text;
}

/// Kinds of records whose lines tell what is in them.
const std::set<std::string> comparedKinds = {
    "MMAP",   "MMAP2",           "COMM",       "FORK",      "EXIT",   "LOST",
    "SWITCH", "SWITCH_CPU_WIDE", "KSYMBOL",    "BPF_EVENT", "CGROUP", "ITRACE_START",
    "AUX",    "AUXTRACE",        "NAMESPACES", "READ"};

/// Writes the lines as perf does: time, size, kind, content.
class DumpSink : public RecordSink {
public:
    std::vector<std::string> lines;

    void onMmap(const MmapRecord& r) override
    {
        const std::string place = format("%d/%d: [%#llx(%#llx) @ %#llx", r.pid, r.tid,
                                         Number{r.start}, Number{r.length}, Number{r.pageOffset});
        const std::string name(r.filename);
        if (!r.isMmap2)
            add(r, "MMAP " + place + format("]: %c ", r.isData() ? 'r' : 'x') + name);
        else
            add(r, "MMAP2 " + place + " " + identity(r) + "]: " + protection(r) + " " + name);
    }
    void onComm(const CommRecord& r) override
    {
        add(r, format("COMM%s: %s:%d/%d", r.isExec() ? " exec" : "", std::string(r.comm).c_str(),
                      r.pid, r.tid));
    }
    void onFork(const TaskRecord& r) override { addTask(r, "FORK"); }
    void onExit(const TaskRecord& r) override { addTask(r, "EXIT"); }
    void onLost(const LostRecord& r) override
    {
        add(r, format("LOST: id:%llu: lost:%llu", Number{r.lostId}, Number{r.lost}));
    }
    void onSwitch(const SwitchRecord& r) override
    {
        const std::string way = r.isOut() ? r.isPreempt() ? "OUT preempt" : "OUT" : "IN";
        if (!r.otherPid)
            add(r, "SWITCH " + way);
        else
            add(r, "SWITCH_CPU_WIDE " + way + (r.isOut() ? " next" : " prev") +
                       format(" pid/tid: %d/%d", *r.otherPid, *r.otherTid));
    }
    void onKsymbol(const KsymbolRecord& r) override
    {
        add(r, format("KSYMBOL addr %llx len %u type %u flags 0x%x name %s", Number{r.address},
                      r.length, r.symbolType, r.flags, std::string(r.name).c_str()));
    }
    void onBpfEvent(const BpfEventRecord& r) override
    {
        add(r, format("BPF_EVENT type %u, flags %u, id %u", r.eventType, r.flags, r.programId));
    }
    void onCgroup(const CgroupRecord& r) override
    {
        add(r, format("CGROUP cgroup: %llu %s", Number{r.cgroupId}, std::string(r.path).c_str()));
    }
    void onItraceStart(const ItraceStartRecord& r) override
    {
        add(r, format("ITRACE_START pid: %d tid: %d", r.pid, r.tid));
    }
    void onAux(const AuxRecord& r) override
    {
        add(r, format("AUX offset: %#llx size: %#llx flags: %#llx []", Number{r.auxOffset},
                      Number{r.auxSize}, Number{r.flags}));
    }
    void onAuxtrace(const AuxtraceRecord& r) override
    {
        add(r, format("AUXTRACE size: %#llx offset: %#llx ref: %#llx idx: %u tid: %d cpu: %d",
                      Number{r.trace.size()}, Number{r.auxOffset}, Number{r.reference}, r.index,
                      r.tid, static_cast<int>(r.traceCpu)));
    }
    void onNamespaces(const NamespacesRecord& r) override
    {
        add(r, format("NAMESPACES %d/%d - nr_namespaces: %zu", r.pid, r.tid, r.links.size()));
    }
    void onRead(const ReadRecord& r) override
    {
        add(r, format("READ: %d %d %s %llu", r.pid, r.tid, r.event->name.c_str(),
                      Number{r.values[0].value}));
    }

private:
    static std::string identity(const MmapRecord& r)
    {
        if (!r.buildId)
            return format("%02x:%02x %llu %llu", r.devMajor, r.devMinor, Number{r.inode},
                          Number{r.inodeGeneration});
        std::string text = "<";
        for (const std::uint8_t byte : r.buildId->span())
            text += format("%02x", byte);
        return text + ">";
    }
    static std::string protection(const MmapRecord& r)
    {
        const auto letter = [&](unsigned bit, char c) {
            return (r.protection & bit) != 0 ? c : '-';
        };
        return {letter(1, 'r'), letter(2, 'w'), letter(4, 'x'), (r.flags & 1u) != 0 ? 's' : 'p'};
    }
    void addTask(const TaskRecord& r, const char* kind)
    {
        add(r, format("%s(%d:%d):(%d:%d)", kind, r.pid, r.tid, r.parentPid, r.parentTid));
    }
    /// The dump gives the trailer's time only, and 0 or -1 for records without.
    void add(const RecordBase& r, const std::string& text)
    {
        const std::uint64_t time = r.event != nullptr ? r.time.value_or(0) : 0;
        lines.push_back(withSingleBlanks(format("%llu [%#x] ", Number{time}, r.size) + text));
    }
};

std::string kindOf(const std::string& text)
{
    return text.substr(0, text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ_0123456789"));
}

/// "[cpu] time offset [size]: PERF_RECORD_text" becomes "time [size] text".
std::vector<std::string> parseDump(const std::string& dump)
{
    std::vector<std::string> lines;
    std::istringstream stream(dump);
    for (std::string line; std::getline(stream, line);) {
        const std::size_t at = line.find(": PERF_RECORD_");
        if (at == std::string::npos || !comparedKinds.contains(kindOf(line.substr(at + 14))))
            continue;
        std::istringstream head(line.substr(0, at));
        std::vector<std::string> tokens;
        for (std::string token; head >> token;)
            tokens.push_back(token);
        const std::string time = tokens.size() > 2 ? tokens[tokens.size() - 3] : "0";
        lines.push_back(withSingleBlanks((time.starts_with("-") ? "0" : time) + " " +
                                         tokens.back() + " " + line.substr(at + 14)));
    }
    return lines;
}

/// Records without a time are passed when they are met, in perf's walk as in ours, but in between
/// others because the two hold back others: only the order among themselves is the same.
void putUntimedFirst(std::vector<std::string>& lines)
{
    std::stable_partition(lines.begin(), lines.end(),
                          [](const std::string& line) { return line.starts_with("0 "); });
}

/// In one recording some mappings have no room for a name, and perf takes the first bytes of the
/// trailer, the pid 28388, for one.
std::string withoutMisprint(const std::string& caseName, const std::string& line)
{
    const std::string misprint = " \xE4n";
    const bool isMisprinted = caseName == "hotspot-true-v2" && line.ends_with(misprint);
    return isMisprinted ? line.substr(0, line.size() - misprint.size()) : line;
}

class RecordOracle : public ::testing::TestWithParam<OracleCase> {};

TEST_P(RecordOracle, DecodesTheSideBandAlikeInTheSameOrder)
{
    const std::string content = GetParam().load("perf.data").value();
    const Recording recording = Recording::fromBytes(testing::bytesOf(content), GetParam().name);
    std::vector<std::string> expected = parseDump(GetParam().load("records.txt").value());
    DumpSink sink;
    const DeliveryStats stats = recording.deliver(sink, {Deliver::SideBand, {}});
    EXPECT_EQ(stats.badRecords, 0u);
    putUntimedFirst(expected);
    putUntimedFirst(sink.lines);
    for (std::string& line : expected)
        line = withoutMisprint(GetParam().name, line);
    ASSERT_EQ(sink.lines.size(), expected.size());
    for (std::size_t index = 0; index < expected.size(); ++index)
        ASSERT_EQ(sink.lines[index], expected[index]) << "record " << index;
}

INSTANTIATE_TEST_SUITE_P(Recordings, RecordOracle,
                         ::testing::ValuesIn(testing::casesWith("records.txt")), testing::caseName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RecordOracle);

} // namespace
} // namespace samplefold::perfdata
