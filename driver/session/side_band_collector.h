#pragma once

#include "perfdata/recording.h"
#include "session/load_clock.h"
#include "session/module_catalog.h"
#include "session/process_table.h"
#include "session/quality_log.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace samplefold::session {

class Containers;

/// Scale between the time stamp counter and the clock of samples, as the kernel gives it out:
/// time = zero + ((ticks * mult) >> shift). From <linux/perf_event.h>, perf_event_mmap_page.
struct TscScale {
    std::uint64_t shift = 0;
    std::uint64_t mult = 0;
    std::uint64_t zero = 0;
};

/// A symbol of the kernel with the address that it had, as the recorder noted it with the kernel's
/// mapping. A kernel lies elsewhere after every start of the machine.
struct KernelReference {
    std::string symbol;
    std::uint64_t address = 0;
};

/// Builds processes, threads and their mappings from the side-band records of a recording, the
/// first of two passes: all maps are whole before the first sample is looked up. Counts what the
/// recording says was lost. Loading thread only.
class SideBandCollector : public perfdata::RecordSink {
public:
    /// The arguments must outlive the object. `containers`, which may be null, tells what mapped
    /// files are called in the container of their process.
    SideBandCollector(const perfdata::Recording& recording, ProcessTable& processes,
                      ModuleCatalog& modules, QualityLog& quality,
                      const Containers* containers = nullptr);

    /// Runs the pass.
    void collect(const perfdata::ProgressHook& progress);

    void onSample(const perfdata::Sample& sample) override;
    void onMmap(const perfdata::MmapRecord& record) override;
    void onComm(const perfdata::CommRecord& record) override;
    void onFork(const perfdata::TaskRecord& record) override;
    void onExit(const perfdata::TaskRecord& record) override;
    void onLost(const perfdata::LostRecord& record) override;
    void onLostSamples(const perfdata::LostRecord& record) override;
    void onThrottle(const perfdata::ThrottleRecord& record) override;
    void onKsymbol(const perfdata::KsymbolRecord& record) override;
    void onTextPoke(const perfdata::TextPokeRecord& record) override;
    void onTimeConv(const perfdata::TimeConvRecord& record) override;

    /// How the processor's time stamps become the recording's times, where that is told.
    const std::optional<TscScale>& tscScale() const { return m_tscScale; }
    /// Empty where the recording has none.
    const KernelReference& kernelReference() const { return m_kernelReference; }

private:
    Process& subject(std::int32_t pid);
    std::string buildIdOf(const perfdata::MmapRecord& record) const;
    std::string pathOf(const perfdata::MmapRecord& record) const;
    void noteUnusedRecords();

    const perfdata::Recording& m_recording;
    ProcessTable& m_processes;
    ModuleCatalog& m_modules;
    QualityLog& m_quality;
    const Containers* m_containers;
    LoadClock m_clock;
    std::optional<TscScale> m_tscScale;
    KernelReference m_kernelReference;
    std::map<std::string, std::string, std::less<>> m_buildIds; ///< by path, hexadecimal
};

} // namespace samplefold::session
