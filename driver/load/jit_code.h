#pragma once

#include "load/jit_clock.h"
#include "load/profile_context.h"
#include "session/process_table.h"
#include "session/quality_log.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace samplefold::load {

struct JitOptions {
    bool enabled = true;
    std::vector<std::string> directories; ///< searched beside the input's own folder and /tmp
};

/// Throws LoadError for a directory that cannot be searched.
void checkJitDirectories(const JitOptions& options);

/// Generated code of the processes of a recording: finds the files that describe it, checks their
/// clocks, and answers what was at an address at a tick of the samples. Loading thread only.
class JitCode {
public:
    /// What holds at an address, and for how long.
    struct Answer {
        bool found = false;
        bool failed = false;           ///< the JIT data could not be asked
        jitlens_3_13::region_t region; ///< where found; times on the JIT clock
        std::string_view function;     ///< its name; empty when it has none
        session::TickSpan steady;      ///< ticks of the samples in which the answer is the same
    };

    /// The arguments outlive the object.
    JitCode(ProfileContext& context, const perfdata::Recording& recording,
            session::ProcessTable& processes, session::QualityLog& quality);
    ~JitCode();

    /// Makes loaders for the processes that have files, tells what is wrong with these, and takes
    /// the addresses of generated code away from what was mapped there before. To be called once,
    /// with all mappings told and none looked up.
    void prepare(const JitOptions& options, const std::optional<session::TscScale>& scale);

    /// What generated code of a process that has a loader lies at `address` at `tick`.
    Answer find(const session::Process& process, std::uint64_t address, std::uint64_t tick);
    /// Names and code of all generated code; null when no process has any. After `prepare`.
    boost::intrusive_ptr<jitlens_3_13::ISymbolResolver> symbols() const;
    /// Time on the JIT clock, never 0.
    std::uint64_t jitTime(std::uint64_t tick) { return m_clock->toJitTime(tick); }
    /// Tick of the samples of a time on the JIT clock.
    std::uint64_t sampleTick(std::uint64_t jitTime) { return m_clock->toSampleTime(jitTime); }
    /// Counts what could not be answered on the way; once, after the samples.
    void reportQuality();

private:
    class Reporter;

    std::vector<session::Process*> prepareProcesses();
    void endMappingsUnderCode(const std::vector<session::Process*>& withCode);
    bool takeFiles(session::Process& process);
    void checkSources(std::uint32_t pid);
    void tellSource(const jitlens_3_13::source_t& source);
    std::string_view functionIn(const jitlens_3_13::region_t& region) const;
    void askWithoutTimes(std::uint32_t pid, std::uint64_t address, std::uint64_t time,
                         Answer& answer) const;

    ProfileContext& m_context;
    const perfdata::Recording& m_recording;
    session::ProcessTable& m_processes;
    session::QualityLog& m_quality;
    std::string m_dataPath;
    std::vector<const char*> m_directories;
    std::unique_ptr<JitClock> m_clock;
    tb2::sptr_t<Reporter> m_reporter;
};

} // namespace samplefold::load
