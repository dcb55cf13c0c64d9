#include <samplefold_1/loader_context.h>

namespace samplefold_1 {
namespace {

/// What a loader is asked with about one process.
struct jit_process_t {
    jitlens_3_13::IJitLoader& loader;
    std::uint32_t pid;
    std::uint32_t status;
};

/// Ends the segment before code that the loader knows to have been laid over it later.
void endBeforeJitCode(SegInstInfo& segment, const jit_process_t& process, ITimeConverter& converter)
{
    jitlens_3_13::region_t region;
    const std::uint64_t jitStart = converter.toJitTime(segment.loadTime);
    if (process.loader.findRegion(jitStart, segment.low(), segment.high(), process.pid,
                                  process.status, region) != jitlens_3_13::code::found)
        return;
    const std::uint64_t start = converter.toSampleTime(region.loadTime);
    if (segment.loadTime < start && start < segment.unloadTime) segment.unloadTime = start - 1;
}

} // namespace

void LoaderContext::updateSegUnloadTime(VmAuxData& processes, ITimeConverter& converter)
{
    if (!m_jitEnabled) return;
    for (const auto& [pid, loader] : m_jitLoaders) {
        if (loader == nullptr) continue;
        VmAuxData::accessor entry;
        if (!processes.find(entry, pid)) continue;
        const jit_process_t process{*loader, pid, m_jitStatus};
        for (PerfProcessInfo& span : entry->second) {
            for (SegInstInfo& segment : span.segInstMap.values)
                endBeforeJitCode(segment, process, converter);
        }
    }
}

} // namespace samplefold_1
