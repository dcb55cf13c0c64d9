#include "perf_file.h"

#include "failure.h"

namespace steptrace {
namespace {

/// What PERF_SAMPLE_IP, TID, TIME, CPU, PERIOD, CALLCHAIN and BRANCH_STACK put into a sample.
constexpr std::uint64_t sampleType = PERF_SAMPLE_IP | PERF_SAMPLE_TID | PERF_SAMPLE_TIME |
                                     PERF_SAMPLE_CPU | PERF_SAMPLE_PERIOD | PERF_SAMPLE_CALLCHAIN |
                                     PERF_SAMPLE_BRANCH_STACK;

perf_event_attr makeAttribute(std::uint64_t period, std::uint16_t maxStack, BranchFilter filter)
{
    perf_event_attr attribute{};
    attribute.type = PERF_TYPE_HARDWARE;
    attribute.size = sizeof attribute;
    attribute.config = PERF_COUNT_HW_INSTRUCTIONS;
    attribute.sample_period = period;
    attribute.sample_type = sampleType;
    attribute.disabled = 1;
    attribute.exclude_kernel = 1;
    attribute.exclude_hv = 1;
    attribute.mmap = 1;
    attribute.mmap2 = 1;
    attribute.comm = 1;
    attribute.comm_exec = 1;
    attribute.task = 1;
    attribute.enable_on_exec = 1;
    attribute.sample_id_all = 1;
    attribute.exclude_callchain_kernel = 1;
    attribute.branch_sample_type =
        PERF_SAMPLE_BRANCH_USER |
        (filter == BranchFilter::any ? PERF_SAMPLE_BRANCH_ANY : PERF_SAMPLE_BRANCH_CALL_STACK);
    attribute.sample_max_stack = maxStack;
    return attribute;
}

} // namespace

PerfFile::PerfFile(pid_t pid, std::uint64_t period, std::uint16_t maxStack, BranchFilter filter)
    : m_pid(static_cast<std::uint32_t>(pid)), m_filter(filter),
      m_attribute(makeAttribute(period, maxStack, filter))
{
}

std::size_t PerfFile::begin(std::uint32_t type, std::uint16_t misc)
{
    const std::size_t start = m_records.size();
    m_records.put(perf_event_header{type, misc, 0});
    return start;
}

void PerfFile::putIds()
{
    m_records.put(m_pid);
    m_records.put(m_pid);
}

/// Of a sample: nothing stands behind its body.
void PerfFile::endSample(std::size_t start)
{
    const std::size_t size = m_records.size() - start;
    if (size > UINT16_MAX) throw Failure("a record would be larger than 65535 bytes");
    m_records.overwrite(start + offsetof(perf_event_header, size),
                        static_cast<std::uint16_t>(size));
}

/// Puts what sample_id_all asks for behind the body.
void PerfFile::end(std::size_t start, std::uint64_t tick)
{
    putIds();
    m_records.put(tick);
    m_records.put(std::uint64_t{0}); // the CPU
    endSample(start);
    if (!m_firstTick) m_firstTick = tick;
    m_lastTick = tick;
}

void PerfFile::addExec(const std::string& name, std::uint64_t tick)
{
    constexpr std::size_t longestName = 15;
    const std::size_t start =
        begin(PERF_RECORD_COMM, PERF_RECORD_MISC_USER | PERF_RECORD_MISC_COMM_EXEC);
    putIds();
    m_records.putPadded(name.substr(0, longestName), 8);
    end(start, tick);
}

void PerfFile::addMapping(const CodeMapping& mapping, std::uint64_t tick)
{
    const std::size_t start = begin(PERF_RECORD_MMAP2, PERF_RECORD_MISC_USER);
    putIds();
    m_records.put(mapping.start);
    m_records.put(mapping.end - mapping.start);
    m_records.put(mapping.offset);
    m_records.put(mapping.major);
    m_records.put(mapping.minor);
    m_records.put(mapping.inode);
    m_records.put(std::uint64_t{0}); // the inode's generation
    m_records.put(mapping.protection);
    m_records.put(mapping.flags);
    m_records.putPadded(mapping.name, 8);
    end(start, tick);
    m_files.insert(mapping.name);
}

void PerfFile::addSample(const Sample& sample)
{
    const std::size_t start = begin(PERF_RECORD_SAMPLE, PERF_RECORD_MISC_USER);
    m_records.put(sample.chain.front());
    putIds();
    m_records.put(sample.tick);
    m_records.put(std::uint64_t{0}); // the CPU
    m_records.put(std::uint64_t{m_attribute.sample_period});
    m_records.put(std::uint64_t{sample.chain.size() + 1});
    m_records.put(static_cast<std::uint64_t>(PERF_CONTEXT_USER));
    for (const std::uint64_t address : sample.chain)
        m_records.put(address);
    m_records.put(std::uint64_t{sample.branches.size()});
    for (const BranchRecord& branch : sample.branches)
        m_records.put(branch);
    endSample(start);
    m_lastTick = sample.tick;
}

void PerfFile::addExit(std::uint64_t tick)
{
    constexpr std::uint32_t parent = 1;
    const std::size_t start = begin(PERF_RECORD_EXIT, PERF_RECORD_MISC_USER);
    for (const std::uint32_t id : {m_pid, parent, m_pid, parent})
        m_records.put(id);
    m_records.put(tick);
    end(start, tick);
}

} // namespace steptrace
