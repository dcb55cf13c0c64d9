#include "session/side_band_collector.h"

#include "session/containers.h"
#include "session/hex_text.h"
#include "session/module_names.h"

#include <limits>

namespace samplefold::session {
namespace {

using perfdata::RecordType;

/// Set in the misc field of a FORK that the recorder made up for a task that was there before: such
/// a task tells its own mappings.
constexpr std::uint16_t synthesisedFork = 1U << 13;

/// Last address of a range that may reach to the end of the address space.
std::uint64_t lastAddress(std::uint64_t start, std::uint64_t length)
{
    const std::uint64_t room = std::numeric_limits<std::uint64_t>::max() - start;
    return start + std::min(length - 1, room);
}

/// A runtime maps the dump that it writes, so that the recording shows where it is.
bool isJitDumpName(std::string_view path)
{
    const std::string_view leaf = path.substr(path.rfind('/') + 1);
    return leaf.starts_with("jit-") && leaf.ends_with(".dump");
}

} // namespace

SideBandCollector::SideBandCollector(const perfdata::Recording& recording, ProcessTable& processes,
                                     ModuleCatalog& modules, QualityLog& quality,
                                     const Containers* containers)
    : m_recording(recording), m_processes(processes), m_modules(modules), m_quality(quality),
      m_containers(containers), m_clock(recording)
{
    for (const perfdata::BuildId& id : recording.features().buildIds) {
        m_buildIds.try_emplace(std::string(modulePath(id.filename)), hexText(id.bytes.span()));
    }
}

void SideBandCollector::collect(const perfdata::ProgressHook& progress)
{
    perfdata::DeliveryOptions options;
    // Numbered ticks count the samples between the records.
    options.filter = m_clock.isNumbered() ? perfdata::Deliver::All : perfdata::Deliver::SideBand;
    options.progress = progress;
    const perfdata::DeliveryStats stats = m_recording.deliver(*this, options);
    m_quality.add("malformed records other than samples", stats.badRecords - stats.badSamples,
                  "their fields overrun their size; record again", Severity::error);
    noteUnusedRecords();
}

void SideBandCollector::onSample(const perfdata::Sample& sample)
{
    m_clock.sampleTick(sample.time);
}

Process& SideBandCollector::subject(std::int32_t pid)
{
    return pid == ProcessTable::kernelPid ? m_processes.kernel() : m_processes.newest(pid);
}

std::string SideBandCollector::buildIdOf(const perfdata::MmapRecord& record) const
{
    if (record.buildId) return hexText(record.buildId->span());
    const auto known = m_buildIds.find(modulePath(record.filename));
    return known != m_buildIds.end() ? known->second : std::string();
}

/// What the module of a mapping is found by. Build ids are told by the recorded path.
std::string SideBandCollector::pathOf(const perfdata::MmapRecord& record) const
{
    const std::string_view recorded = modulePath(record.filename);
    if (m_containers == nullptr) return std::string(recorded);
    return m_containers->pathOf(record.pid, record.time.value_or(0), recorded);
}

void SideBandCollector::onMmap(const perfdata::MmapRecord& record)
{
    if (record.length == 0) {
        m_quality.add("mapping of no length", 1, "nothing to do: the record maps nothing",
                      Severity::info);
        return;
    }
    const std::string path = pathOf(record);
    const std::string buildId = buildIdOf(record);
    const std::uint32_t segment =
        m_modules.segment({path, buildId, record.pageOffset, record.length, record.protection});
    Process& process = subject(record.pid);
    process.space.map({record.start, lastAddress(record.start, record.length), record.pageOffset,
                       segment, &m_modules.modulePath(segment),
                       record.pid == ProcessTable::kernelPid || isImage(path)},
                      m_clock.recordTick(record.time));
    if (path == kernelName)
        m_kernelReference = {std::string(session::kernelReference(record.filename)),
                             record.pageOffset};
    if (isJitDumpName(record.filename)) process.jitDump = std::string(record.filename);
}

void SideBandCollector::onComm(const perfdata::CommRecord& record)
{
    const std::uint64_t tick = m_clock.recordTick(record.time);
    Process& process = subject(record.pid);
    if (record.isExec()) process.space.unmapAll(tick);
    process.thread(record.tid).name = std::string(record.comm);
    if (record.tid == record.pid || process.name.empty()) process.name = std::string(record.comm);
}

void SideBandCollector::onFork(const perfdata::TaskRecord& record)
{
    const std::uint64_t tick = m_clock.recordTick(record.time);
    if (record.pid == record.parentPid) {
        subject(record.pid).startThread(record.tid, tick);
        return;
    }
    Process& parent = subject(record.parentPid);
    Process& child = m_processes.begin(record.pid, tick);
    child.parent = &parent;
    if (child.name.empty()) child.name = parent.name;
    child.startThread(record.tid, tick);
    if ((record.misc & synthesisedFork) == 0) m_processes.inherit(child, parent, tick);
}

void SideBandCollector::onExit(const perfdata::TaskRecord& record)
{
    const std::uint64_t tick = m_clock.recordTick(record.time);
    Process& process = subject(record.pid);
    process.endThread(record.tid, tick);
    if (process.liveThreads != 0) return;
    // A sample of the tick of the exit still belongs to the process.
    process.end = tick;
    process.space.unmapAll(tick == AddressSpace::never ? tick : tick + 1);
}

void SideBandCollector::onLost(const perfdata::LostRecord& record)
{
    m_quality.add("records lost by the recorder", record.lost,
                  "record with a larger ring buffer (-m) or a lower frequency (-F)",
                  Severity::dataLoss);
}

void SideBandCollector::onLostSamples(const perfdata::LostRecord& record)
{
    m_quality.add("samples lost by the recorder", record.lost,
                  "record with a larger ring buffer (-m) or a lower frequency (-F)",
                  Severity::dataLoss);
}

void SideBandCollector::onThrottle(const perfdata::ThrottleRecord& record)
{
    if (record.isUnthrottle()) return;
    m_quality.add("times that the kernel throttled sampling", 1,
                  "record with a lower frequency (-F) or a longer period (-c)", Severity::dataLoss);
}

void SideBandCollector::onKsymbol(const perfdata::KsymbolRecord& record)
{
    AddressSpace& kernel = m_processes.kernel().space;
    const std::uint64_t tick = m_clock.recordTick(record.time);
    if (record.isUnregister()) {
        kernel.unmap(record.address, tick);
        return;
    }
    if (record.length == 0) return;
    const std::string name = "[" + std::string(record.name) + "]";
    const std::uint32_t segment = m_modules.segment({name, {}, 0, record.length, 0});
    kernel.map({record.address, lastAddress(record.address, record.length), 0, segment,
                &m_modules.modulePath(segment)},
               tick);
}

void SideBandCollector::onTextPoke(const perfdata::TextPokeRecord&)
{
    m_quality.add("changes of kernel code that were skipped", 1,
                  "nothing to do: addresses stay right, disassembly may show other bytes",
                  Severity::info);
}

void SideBandCollector::onTimeConv(const perfdata::TimeConvRecord& record)
{
    if (record.mult != 0 && record.shift < 64)
        m_tscScale = TscScale{record.shift, record.mult, record.zero};
}

void SideBandCollector::noteUnusedRecords()
{
    for (const perfdata::RecordCount& count : m_recording.counts()) {
        const auto type = static_cast<std::uint32_t>(count.type);
        const bool kernelType = type <= static_cast<std::uint32_t>(RecordType::CallchainDeferred);
        const bool userType = type >= static_cast<std::uint32_t>(RecordType::HeaderAttr) &&
                              type <= static_cast<std::uint32_t>(RecordType::Compressed2);
        if (kernelType || userType) continue;
        m_quality.add("records of unknown type " + std::to_string(type), count.count,
                      "they were skipped; a newer samplefold may know them", Severity::info);
    }
}

} // namespace samplefold::session
