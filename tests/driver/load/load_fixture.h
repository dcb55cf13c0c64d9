// A load over a small recording, step by step, into a result of its own.
#pragma once

#include "dump_builder.h"

#include "driver/session/scratch_result.h"
#include "driver/session/side_band_records.h"
#include "load/stack_loader.h"
#include "session/side_band_collector.h"
#include "support/temporary_folder.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace samplefold::load::testing {

/// Where the text of the kernel lies in made recordings.
constexpr std::uint64_t kernelBase = 0xffffffff81000000;

/// A sample as a test tells it.
struct Told {
    std::uint64_t tick = 0;
    std::uint64_t ip = 0;
    std::vector<std::uint64_t> chain;
    perfdata::CpuMode mode = perfdata::CpuMode::User;
    bool hasIp = true;
    std::uint16_t maxStack = 0;
};

/// A frame as the result holds it.
struct Frame {
    std::int32_t parent = -1;
    std::int32_t segment = -1;
    std::string module; ///< path, "-" outside every module
    std::uint64_t rva = 0;
    std::string function; ///< "-" without a name
    std::int32_t mark = 0;
};

/// Everything that a load is made of, in the order in which loadProfile makes it.
struct LoadRun {
    LoadRun(rowvault1::IResult& result, perfdata::testing::Bytes recorded, const std::string& name,
            const JitOptions& jitOptions, bool stacksOn);
    ~LoadRun();

    perfdata::testing::Bytes bytes;
    perfdata::Recording recording;
    perfdata::Event event; ///< of all samples; a copy, so that a test may change it
    session::ProcessTable processes;
    session::QualityLog quality;
    session::ModuleCatalog modules;
    session::SideBandCollector sideBand;
    session::ProcessRows rows;
    ProfileContext context;
    JitCode jit;
    CodePlaces places;
    StackLoader stacks;
};

class LoadTest : public session::testing::ScratchResultTest,
                 protected session::testing::SideBandRecords {
protected:
    /// Above the ids that Linux gives out, so that no file in /tmp belongs to it.
    static constexpr std::uint32_t jitPid = 1'900'000'000;
    /// Where recordings end.
    static constexpr std::uint64_t recordingEnd = 1'000'000;

    LoadTest();
    /// Takes what was told so far for the recording and prepares the load of its samples.
    void begin(bool stacksOn = true);
    /// Ends the load.
    void end();
    /// Ends the load and begins one of the same recording into the same result.
    void beginAgain(bool stacksOn = true);
    LoadRun& run() { return *m_run; }

    /// Settles a sample of a process; the attribute goes to the result as well.
    samplefold_1::pmu_sample_attribute_t sample(std::uint32_t pid, const Told& told);
    /// The chain of a sample from the sampled frame outwards: "module+rva" or "module:function+rva"
    /// in hexadecimal, joined by spaces.
    std::string chainOf(std::uint32_t pid, const Told& told);
    /// All frames of the result, by callsite.
    std::map<std::int32_t, Frame> frames();
    std::int64_t rowsOf(const std::string& table);
    /// What must not be: frames of equal parent, segment and relative address.
    std::vector<std::string> repeatedFrames();

    std::string addFile(const std::string& name, std::string_view content)
    {
        return folder.addFile(name, content);
    }
    static std::string dumpName(std::uint32_t pid = jitPid)
    {
        return "jit-" + std::to_string(pid) + ".dump";
    }
    static std::string mapName(std::uint32_t pid = jitPid)
    {
        return "perf-" + std::to_string(pid) + ".map";
    }

    samplefold_test::TemporaryFolder folder; ///< of the recording
    JitOptions jit;
    bool monotonic = true; ///< the recording's clock is CLOCK_MONOTONIC

private:
    std::unique_ptr<LoadRun> m_run;
    std::uint64_t m_lastTick = 1;
};

/// Frames as chainOf gives them, from the sampled one at `callsite` outwards.
std::string chainText(const std::map<std::int32_t, Frame>& frames, std::int32_t callsite);

} // namespace samplefold::load::testing
