#include "load/jit_code.h"

#include "load/load_error.h"

#include <toolbelt2/path.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>

namespace samplefold::load {
namespace {

namespace jit = jitlens_3_13;
using session::Process;
using session::Severity;

constexpr const char* g_sharedFolder = "/tmp";
/// Pieces that mappings may be cut into, in all; a hostile dump cannot multiply them without bound.
constexpr std::uint64_t g_mostPieces = 1'000'000;

std::string folderOf(const std::string& path)
{
    if (path == "-") return {};
    const std::string folder = std::filesystem::path(path).parent_path().string();
    return folder.empty() ? "." : folder;
}

std::string thisHost()
{
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

} // namespace

/// Counts the questions that a loader could not answer; the load goes on without them.
class JitCode::Reporter : public samplefold_1::ICriticalLoaderErrorReporter {
public:
    void report(const std::string&, std::int32_t) override { ++count; }

    std::uint64_t count = 0;
};

void checkJitDirectories(const JitOptions& options)
{
    for (const std::string& directory : options.directories) {
        if (!tb2::path_t::is_directory(directory))
            throw LoadError(directory + ": no such directory for JIT data: check --jit-dir");
        if (directory.find(';') != std::string::npos)
            throw LoadError(directory + ": a directory for JIT data cannot have \";\" in its name");
    }
}

JitCode::JitCode(ProfileContext& context, const perfdata::Recording& recording,
                 session::ProcessTable& processes, session::QualityLog& quality)
    : m_context(context), m_recording(recording), m_processes(processes), m_quality(quality),
      m_dataPath(folderOf(recording.name())), m_reporter(tb2::make_counted<Reporter>())
{
}

JitCode::~JitCode() = default;

void JitCode::prepare(const JitOptions& options, const std::optional<session::TscScale>& scale)
{
    m_clock = std::make_unique<JitClock>(m_recording, scale);
    if (!options.enabled) return;
    std::string joined;
    for (const std::string& directory : options.directories) {
        m_directories.push_back(directory.c_str());
        joined += (joined.empty() ? "" : ";") + directory;
    }
    m_context.setJitSources(joined, m_dataPath, m_reporter);
    endMappingsUnderCode(prepareProcesses());
}

/// The processes that have files.
std::vector<Process*> JitCode::prepareProcesses()
{
    std::vector<Process*> withCode;
    m_processes.forEach([&](Process& process) {
        if (process.pid > 0 && takeFiles(process)) withCode.push_back(&process);
    });
    std::set<std::int32_t> checked;
    for (Process* const process : withCode) {
        process->hasJitCode = true;
        process->space.leaveOutPlainMemory();
        if (checked.insert(process->pid).second)
            checkSources(static_cast<std::uint32_t>(process->pid));
    }
    return withCode;
}

void JitCode::endMappingsUnderCode(const std::vector<Process*>& withCode)
{
    if (withCode.empty()) return;
    // All of them: a child takes over what its parent had mapped, before generated code ends it.
    m_processes.forEach([](Process& process) { process.space.build(); });
    std::uint64_t room = g_mostPieces;
    for (Process* const process : withCode) {
        if (process->space.cutAt(
                m_context.jitLoader()->borders(static_cast<std::uint32_t>(process->pid)), room))
            continue;
        m_quality.add("generated code over mappings that was left out of account", 1,
                      "too many pieces of code over too many mappings: frames there show the "
                      "mapping; record fewer processes at once",
                      Severity::error);
        return;
    }
    m_context.updateSegUnloadTime(m_processes.spans(), *m_clock);
}

/// Makes the loader when the process has files by name, or when the recording shows a dump mapped
/// that is still where it was, or beside the recording.
bool JitCode::takeFiles(Process& process)
{
    const auto pid = static_cast<std::uint32_t>(process.pid);
    const auto byName = jit::findJitFiles(
        m_dataPath,
        tb2::generic_iterator_t<const char*>(m_directories.data(), m_directories.size()), pid);
    std::string mapped;
    if (!process.jitDump.empty()) {
        const std::string leaf = tb2::path_t(process.jitDump).leaf();
        std::vector<std::string> places{m_dataPath.empty() ? leaf : m_dataPath + "/" + leaf};
        for (const char* const directory : m_directories)
            places.push_back(std::string(directory) + "/" + leaf);
        places.push_back(process.jitDump);
        const auto there = std::find_if(places.begin(), places.end(), [](const std::string& path) {
            return tb2::path_t::exists(path);
        });
        if (there != places.end()) mapped = *there;
    }
    if (byName.empty() && mapped.empty()) {
        if (!process.jitDump.empty())
            m_quality.add("jitdump not found: " + process.jitDump, 1,
                          "put it beside the recording or name its folder with --jit-dir",
                          Severity::error);
        return false;
    }
    m_context.createJitLoader(pid);
    if (!mapped.empty() && std::find(byName.begin(), byName.end(), mapped) == byName.end())
        m_context.jitLoader()->addFile(pid, mapped);
    return true;
}

void JitCode::checkSources(std::uint32_t pid)
{
    for (const jit::source_t& source : m_context.jitLoader()->sources(pid)) {
        tellSource(source);
        std::string reason;
        const bool accepted = m_clock->accept(source, reason);
        if (reason.empty()) continue;
        m_quality.add(source.path + ": " + reason, 1,
                      accepted
                          ? "its times were taken as the recording's; record with -k mono to be "
                            "sure"
                          : "its code counts as there all the time; take the file of this run, and "
                            "record with -k mono",
                      accepted ? Severity::info : Severity::error);
        if (!accepted) m_context.jitLoader()->ignoreTimes(pid);
    }
}

void JitCode::tellSource(const jit::source_t& source)
{
    if (!source.fault.empty()) {
        m_quality.add("damage in JIT data: " + source.fault, 1,
                      "what stands before it is used; record again", Severity::error);
    }
    m_quality.add(source.path + ": entries that make no sense", source.skipped,
                  "they were skipped: what a function among them holds has no name",
                  Severity::info);
    const bool isShared =
        source.kind == jit::module_kind_t::perfMap && folderOf(source.path) == g_sharedFolder;
    if (isShared && m_recording.features().hostname != thisHost()) {
        m_quality.add(source.path + ": perf map taken by its number, for a recording that is not "
                                    "known to be of this machine",
                      1, "put the right map beside the recording", Severity::info);
    }
}

JitCode::Answer JitCode::find(const Process& process, std::uint64_t address, std::uint64_t tick)
{
    Answer answer;
    const std::uint64_t time = jitTime(tick);
    const std::uint32_t code = m_context.jitLoader()->findRegion(
        time, address, address, static_cast<std::uint32_t>(process.pid), m_context.jitStatus(),
        answer.region);
    answer.steady.from = tick;
    answer.failed = code != jit::code::found && code != jit::code::noCode;
    if (code != jit::code::found) return answer;
    answer.found = answer.region.loadTime <= time;
    answer.steady.until =
        sampleTick(answer.found ? answer.region.unloadTime : answer.region.loadTime);
    if (answer.found)
        answer.function = functionIn(answer.region);
    else
        askWithoutTimes(static_cast<std::uint32_t>(process.pid), address, time, answer);
    return answer;
}

/// A perf map beside a dump explains what the dump does not until it does.
void JitCode::askWithoutTimes(std::uint32_t pid, std::uint64_t address, std::uint64_t time,
                              Answer& answer) const
{
    jit::IJitLoader& loader = *m_context.jitLoader();
    std::uint64_t rva = 0;
    boost::intrusive_ptr<jit::IModule> module;
    jit::symbol_t symbol;
    if (loader.resolve(time, address, pid, m_context.jitStatus(), rva, module) !=
            jit::code::found ||
        !loader.symbols()->findSymbol(*module, rva, symbol))
        return;
    answer.found = true;
    // Of a second dump it is not known here when its answer changes.
    if (module->kind() != static_cast<std::int32_t>(jit::module_kind_t::perfMap))
        answer.steady.until = std::min(answer.steady.until, answer.steady.from + 1);
    answer.region = {};
    answer.region.first = address - (rva - symbol.rva);
    answer.region.last = answer.region.first + symbol.size - 1;
    answer.region.rva = symbol.rva;
    answer.region.module = std::move(module);
    answer.function = symbol.name;
}

std::string_view JitCode::functionIn(const jit::region_t& region) const
{
    jit::symbol_t symbol;
    const bool known =
        m_context.jitLoader()->symbols()->findSymbol(*region.module, region.rva, symbol);
    return known ? symbol.name : std::string_view();
}

boost::intrusive_ptr<jitlens_3_13::ISymbolResolver> JitCode::symbols() const
{
    const auto loader = m_context.jitLoader();
    return loader != nullptr ? loader->symbols() : nullptr;
}

void JitCode::reportQuality()
{
    m_quality.add("frames whose JIT data could not be asked", m_reporter->count,
                  "see what is told of the JIT data; the frames show by address", Severity::error);
}

} // namespace samplefold::load
