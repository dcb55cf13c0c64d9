// A perf.data file of one process and one event.
#pragma once

#include "branch_ring.h"
#include "byte_buffer.h"
#include "code_map.h"

#include <cstdint>
#include <linux/perf_event.h>
#include <map>
#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

namespace steptrace {

/// Which branches the records of a file are said to be.
enum class BranchFilter { callStack, any };

struct Sample {
    std::uint64_t tick = 0;             ///< nanoseconds
    std::vector<std::uint64_t> chain;   ///< the sampled address, then those of its callers
    std::vector<BranchRecord> branches; ///< newest first
};

/// Collects records in memory, in the order of the calls, and writes the file at the end: the
/// header, the event, the records, and the features that tell of machine, command and build ids.
/// The host is this machine's, so that files at their own paths are those that ran.
class PerfFile {
public:
    /// An event that counts `period` instructions of user code, and chains of at most `maxStack`
    /// addresses.
    PerfFile(pid_t pid, std::uint64_t period, std::uint16_t maxStack, BranchFilter filter);

    void addExec(const std::string& name, std::uint64_t tick);
    void addMapping(const CodeMapping& mapping, std::uint64_t tick);
    void addSample(const Sample& sample);
    void addExit(std::uint64_t tick);

    /// Throws Failure, which names the file, when it cannot be written.
    void write(const std::string& path, const std::vector<std::string>& command) const;

private:
    void putIds();
    std::size_t begin(std::uint32_t type, std::uint16_t misc);
    void endSample(std::size_t start);
    void end(std::size_t start, std::uint64_t tick);
    [[nodiscard]] ByteBuffer buildIds() const;
    [[nodiscard]] ByteBuffer eventDescription() const;
    [[nodiscard]] std::map<unsigned, ByteBuffer>
    features(const std::vector<std::string>& command) const;

    std::uint32_t m_pid;
    BranchFilter m_filter;
    perf_event_attr m_attribute{};
    ByteBuffer m_records;
    std::set<std::string> m_files;
    std::uint64_t m_firstTick = 0;
    std::uint64_t m_lastTick = 0;
};

} // namespace steptrace
