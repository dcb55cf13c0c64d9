#include "load/load_profile.h"

#include "load/collector_command.h"
#include "load/counter_loader.h"
#include "load/event_groups.h"
#include "load/hw_feedback_loader.h"
#include "load/input_checksum.h"
#include "load/load_info.h"
#include "load/recording_info.h"
#include "names/code_names.h"
#include "session/containers.h"
#include "session/module_files.h"
#include "session/module_names.h"
#include "session/side_band_collector.h"
#include "topology/result_topology.h"
#include "topology/uncore_events.h"

#include <rowvault1/result.h>

#include <algorithm>
#include <cstdint>
#include <future>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace samplefold::load {
namespace {

using perfdata::Recording;
using session::Severity;

const char* onOff(bool on)
{
    return on ? "on" : "off";
}

perfdata::ProgressHook progressOf(const LoadProgress& progress, const char* step)
{
    return [&progress, step](std::uint64_t done, std::uint64_t total) {
        if (progress) progress(step, done, total);
        return true;
    };
}

/// A result is of one mode for good: rows of another would not fit what is there. One whose load
/// was stopped is not added to, since it would look complete afterwards.
void checkMode(rowvault1::IResult& store, const LoadOptions& options, bool stacksOn)
{
    if (options.append && store.info("state") != "complete") {
        throw LoadError(options.result +
                        ": is incomplete, an earlier load was stopped: load into a new result");
    }
    const std::string stacks = store.info("stacks");
    if (!stacks.empty() && stacks != onOff(stacksOn)) {
        throw LoadError(options.result + ": was loaded with --stacks " + stacks +
                        ": append with the same setting, or load into a new result");
    }
    const std::string each = store.info("store_each_sample");
    const std::string wanted = onOff(options.storeEachSample);
    if (!each.empty() && each != wanted) {
        throw LoadError(options.result + ": was loaded with --store-each-sample " + each +
                        ": append with the same setting, or load into a new result");
    }
}

/// Paths below one label must be of one file system.
void checkContainers(rowvault1::IResult& store, const LoadOptions& options)
{
    if (!options.append || options.containers.empty()) return;
    const std::string conflict = session::containerConflict(*store.database(), options.containers);
    if (!conflict.empty()) throw LoadError(options.result + ": " + conflict);
}

/// A result has one topology.
void checkTopology(rowvault1::IResult& store, const LoadOptions& options)
{
    if (options.topology.isGiven() && topology::hasTopology(*store.database()))
        throw LoadError(options.result + ": " + topology::TopologyExists().what());
}

/// A result is of one mode for good, and every load says which.
void storeMode(rowvault1::IResult& store, const LoadOptions& options, bool stacksOn)
{
    store.setInfo("stacks", onOff(stacksOn));
    store.setInfo("store_each_sample", onOff(options.storeEachSample));
}

void noteRecording(const Recording& recording, session::QualityLog& quality)
{
    if (recording.fault()) {
        quality.add("damage in the input: " + recording.fault()->text, 1,
                    "what stands before it was loaded; record again", Severity::dataLoss);
    }
    for (const std::string& note : recording.notes()) {
        quality.add(note, 1, "see the recording", Severity::info);
    }
    if (!recording.isX86_64()) {
        quality.add("recording of another machine: " + recording.architecture(), 1,
                    "addresses and counts are right; code is not disassembled", Severity::info);
    }
}

/// The sample rows of a result, as the database tells them.
struct StoredSamples {
    std::uint64_t rows = 0;
    std::uint64_t counts = 0; ///< their sum; wraps
};

/// One pass over the rows only where the counts are wanted. The halves of the counts are added up
/// apart, since SQLite's sum refuses to overflow.
StoredSamples readStoredSamples(rowvault1::IResult& store, bool withCounts)
{
    struct Reader final : rowvault1::ISqlReader {
        void onColumns(std::span<const std::string>) override {}
        bool onRow(std::span<const tb2::variant_t> row) override
        {
            stored.rows = row[0].integer_bits();
            stored.counts = (row[1].integer_bits() << 32) + row[2].integer_bits();
            return true;
        }
        StoredSamples stored;
    } reader;
    rowvault1::readSql(
        store,
        withCounts
            ? "SELECT count(*), sum(count >> 32), sum(count & 4294967295) FROM sample_instance"
            : "SELECT count(*), 0, 0 FROM sample_instance",
        reader);
    return reader.stored;
}

/// Every sample and every counter value of the input is a row or a drop that was counted; anything
/// else is a defect of the load. Where samples are added up, the sums of their counts are compared
/// instead of the rows.
void balance(SampleBooks books, const CounterBooks& counters, const LoadReport& report,
             const LoadOptions& options, std::uint64_t storedSum)
{
    books.added += counters.rows;
    books.countSum += counters.countSum;
    const bool rowsFit =
        options.storeEachSample ? report.rows == books.added : storedSum == books.countSum;
    if (rowsFit && books.added + report.dropped == report.samples) return;
    throw LoadError(options.result +
                    ": the books do not balance: " + std::to_string(report.samples) +
                    " samples in the input, " + std::to_string(books.added) + " taken, " +
                    std::to_string(report.rows) + " rows, " + std::to_string(report.dropped) +
                    " counted drops, counts " + std::to_string(books.countSum) + " read and " +
                    std::to_string(storedSum) + " stored: please report this with the recording");
}

void noteDrops(const perfdata::DeliveryStats& delivery, session::QualityLog& quality)
{
    quality.add("malformed sample records", delivery.badSamples,
                "their fields overrun their size; record again", Severity::dataLoss);
    quality.add("samples of unknown events", delivery.unknownIdSamples,
                "the recording names no event for them", Severity::dataLoss);
}

/// A second fault is told beside the first.
void addFault(LoadReport& report, std::string fault)
{
    if (fault.empty()) return;
    if (report.fault.empty()) {
        report.fault = std::move(fault);
    } else {
        report.messages.insert(report.messages.begin(), std::move(fault));
    }
}

bool hasBranches(const perfdata::Event& event)
{
    return (event.attr.sampleType & perfdata::sampleBit::BranchStack) != 0;
}

/// One load, step by step. Members are in the order in which they are needed.
class Load {
public:
    Load(const LoadOptions& options, const LoadProgress& progress)
        : m_options(checked(options)), m_progress(progress), m_feedback(readFeedback(options)),
          m_topology(readTopology(options)), m_recording(openInput()), m_store(openStore()),
          m_info(*m_store)
    {
        m_stacksOn = stacksFor(options);
        checkMode(*m_store, options, m_stacksOn);
        checkContainers(*m_store, options);
        checkTopology(*m_store, options);
        m_before = readStoredSamples(*m_store, !options.storeEachSample);
    }

    LoadReport run();

private:
    /// What is wrong with the options is told before a result is begun.
    static const LoadOptions& checked(const LoadOptions& options)
    {
        checkJitDirectories(options.jit);
        return options;
    }
    static HwFeedbackFile readFeedback(const LoadOptions& options)
    {
        return options.hwFeedback.empty() ? HwFeedbackFile() : readHwFeedback(options.hwFeedback);
    }
    static std::optional<topology::TopologyInput> readTopology(const LoadOptions& options)
    {
        if (!options.topology.isGiven()) return std::nullopt;
        return topology::readTopologyInput(options.topology);
    }
    Recording openInput() const
    {
        perfdata::OpenOptions open;
        open.progress = progressOf(m_progress, "reading");
        return Recording::open(m_options.input, open);
    }
    tb2::sptr_t<rowvault1::IResult> openStore() const
    {
        return rowvault1::openResult(m_options.result, m_options.append
                                                           ? rowvault1::open_mode_t::append
                                                           : rowvault1::open_mode_t::create);
    }
    bool stacksFor(const LoadOptions& options) const;
    void tellRecording(session::QualityLog& quality);
    void loadSamples(session::QualityLog& quality, LoadReport& report);
    perfdata::DeliveryStats deliver(SampleLoader& samples);
    void closeBooks(const perfdata::DeliveryStats& stats, const SampleBooks& samples,
                    const CounterBooks& counters, LoadReport& report);
    void nameCode(const session::SideBandCollector& sideBand, const session::ModuleCatalog& modules,
                  const CodePlaces& places, session::ModuleFiles& files);

    const LoadOptions& m_options;
    const LoadProgress& m_progress;
    HwFeedbackFile m_feedback;
    std::optional<topology::TopologyInput> m_topology;
    Recording m_recording;
    tb2::sptr_t<rowvault1::IResult> m_store;
    LoadInfo m_info;
    bool m_stacksOn = false;
    StoredSamples m_before; ///< what the result held before the load
};

bool Load::stacksFor(const LoadOptions& options) const
{
    if (options.stacks) return *options.stacks;
    const std::string stored = m_store->info("stacks");
    if (!stored.empty()) return stored == onOff(true);
    // Rows of counters have no place in code, and need none made up for them.
    if (m_recording.isCountingRun()) return true;
    const auto& events = m_recording.events();
    const bool withRecords = options.branches.use != BranchUse::off;
    return std::any_of(events.begin(), events.end(), [&](const perfdata::Event& event) {
        const bool tellsCallers =
            withRecords && hasBranches(event) && branchKindOf(event) == BranchKind::callStack;
        return tellsCallers || (event.attr.sampleType & perfdata::sampleBit::Callchain) != 0;
    });
}

void Load::tellRecording(session::QualityLog& quality)
{
    const CollectorCommand command =
        collectorCommand(m_recording.features(), m_options.collectorCommand);
    m_info.begin();
    storeRecordingInfo(m_info, m_recording, command);
    storeArguments(m_store->database(), command, m_info.loads());
    storeMode(*m_store, m_options, m_stacksOn);
    m_info.widenTimes(m_recording.timeRange());
    storeUnits(*m_store, m_recording);
    storeEventGroups(*m_store, m_options.input, quality);
    noteRecording(m_recording, quality);
}

LoadReport Load::run()
{
    // Reading all of the input once more must not keep the first samples waiting.
    std::future<std::string> checksum =
        std::async(std::launch::async, [this] { return inputChecksum(m_options.input); });
    LoadReport report;
    report.databasePath = m_store->databasePath();
    if (m_recording.fault()) report.fault = m_recording.fault()->text;
    session::QualityLog quality;
    tellRecording(quality);
    if (!report.fault.empty()) m_store->setInfo("input_fault", report.fault);
    m_store->commitPoint();

    loadSamples(quality, report);

    if (m_progress) m_progress("finishing", 0, 0);
    quality.store(m_store->database());
    m_info.set("hw_feedback", m_options.hwFeedback);
    m_info.set("input_checksum", checksum.get());
    m_info.add("samples_in_input", report.samples);
    if (report.counterValues != 0) m_info.add("counter_values_in_input", report.counterValues);
    m_info.add("sample_rows", report.rows);
    m_info.add("samples_dropped", report.dropped);
    m_store->finish();
    addFault(report, hwFeedbackFault(m_options.hwFeedback, m_feedback));
    return report;
}

/// Names come after the samples, so that a name is looked for once however often it is needed.
void Load::nameCode(const session::SideBandCollector& sideBand,
                    const session::ModuleCatalog& modules, const CodePlaces& places,
                    session::ModuleFiles& files)
{
    const auto ids = modules.buildIds();
    const auto kernelId = ids.find(session::kernelName);
    names::NameOptions options;
    options.enabled = m_options.namesOn;
    options.seconds = m_options.nameSeconds;
    options.kernel = {m_options.kallsyms, files.folder(),
                      kernelId != ids.end() ? kernelId->second : std::string(),
                      sideBand.kernelReference().symbol, sideBand.kernelReference().address};
    const auto progress = [this](std::uint64_t done, std::uint64_t total) {
        if (m_progress) m_progress("names", done, total);
    };
    const auto wasSampled = [&places](std::int32_t segment, std::uint64_t rva) {
        return places.wasSampled(segment, rva);
    };
    names::nameCode(*m_store, files, options, wasSampled, progress);
}

/// Context switches come only where the recording has any: each costs time.
perfdata::DeliveryStats Load::deliver(SampleLoader& samples)
{
    const bool withSwitches = m_recording.countOf(perfdata::RecordType::Switch) +
                                  m_recording.countOf(perfdata::RecordType::SwitchCpuWide) !=
                              0;
    perfdata::DeliveryOptions delivery;
    delivery.filter = withSwitches ? perfdata::Deliver::All : perfdata::Deliver::Samples;
    delivery.progress = progressOf(m_progress, "samples");
    return m_recording.deliver(samples, delivery);
}

/// Every sample of the input is a row or a counted drop, or the load does not call itself complete.
void Load::closeBooks(const perfdata::DeliveryStats& stats, const SampleBooks& samples,
                      const CounterBooks& counters, LoadReport& report)
{
    report.counterValues = counters.values;
    report.samples = m_recording.countOf(perfdata::RecordType::Sample) + samples.groupExtra +
                     report.counterValues;
    report.dropped =
        stats.badSamples + stats.unknownIdSamples + samples.withoutGrowth + counters.dropped;
    const StoredSamples stored = readStoredSamples(*m_store, !m_options.storeEachSample);
    report.rows = stored.rows - m_before.rows;
    balance(samples, counters, report, m_options, stored.counts - m_before.counts);
}

void Load::loadSamples(session::QualityLog& quality, LoadReport& report)
{
    const auto db = m_store->database();
    session::ModuleCatalog modules;
    session::ProcessTable processes; // its mappings point at the modules' paths
    // A process's mappings may stand before what tells its container: containers come first.
    const session::Containers containers(
        db,
        session::findContainers(m_recording, m_options.containers,
                                progressOf(m_progress, "containers")),
        quality);
    session::SideBandCollector sideBand(m_recording, processes, modules, quality, &containers);
    sideBand.collect(progressOf(m_progress, "processes and mappings"));
    session::ModuleFiles files(db, m_options.result,
                               {m_recording.architecture(), m_recording.features().hostname});
    session::FileSearchOptions search = m_options.files;
    containers.addPathMaps(search);
    files.expect(modules.buildIds(), search);
    modules.store(db, files);
    session::ProcessRows processRows(db);
    processRows.store(processes);
    const topology::RecordedPlatform platform =
        topology::storePlatform(db, m_recording, m_options.topology.sysfs(), quality);
    session::AttributeRows attributes(db, m_recording, platform.rows);

    ProfileContext context(*m_store,
                           {m_stacksOn, m_options.storeEachSample, m_recording.events().size()});
    JitCode jit(context, m_recording, processes, quality);
    jit.prepare(m_options.jit, sideBand.tscScale());
    CodePlaces places(context, modules, processRows, jit);
    const auto fileOf = [&](std::uint32_t segment) -> const std::string& {
        return files.fileOf(modules.moduleRow(segment)).found;
    };
    unwind::StackUnwinder unwinder(fileOf, m_recording.isX86_64() ? unwind::Machine::x86_64
                                                                  : unwind::Machine::other);
    std::optional<BranchStacks> branches;
    if (m_options.branches.use != BranchUse::off &&
        std::ranges::any_of(m_recording.events(), hasBranches))
        branches.emplace(m_options.branches, m_options.storeEachSample,
                         BranchStacks::Session{context, places, files, processes, jit});
    BranchStacks* const withBranches = branches ? &*branches : nullptr;
    StackLoader stacks(context, places, processes.kernel(), m_options.unwind ? &unwinder : nullptr,
                       withBranches);
    CpuTimes cpuTimes(db, processes, processRows, m_recording);
    SampleLoader samples(m_recording, {processes, processRows, attributes, quality}, context,
                         stacks, cpuTimes, withBranches);
    const perfdata::DeliveryStats stats = deliver(samples);
    samples.finish();
    CounterLoader counters(m_recording, {processes, processRows, attributes, quality}, context,
                           m_info.lastTick().value_or(0));
    counters.load(progressOf(m_progress, "counters"));
    if (!m_recording.timeRange() && counters.range().first != counters.range().second)
        m_info.widenTimes(counters.range());
    if (m_progress) m_progress("writing", 0, 0);
    context.finish(std::max(samples.lastTick(), counters.range().second));
    HwFeedbackLoader feedback(m_recording, processes, processRows, context);
    feedback.load(m_feedback);
    m_feedback.reports = std::vector<HwFeedbackReport>(); // naming needs the memory

    const topology::TopologyCounts topologyCounts =
        topology::completeTopology(*m_store, m_topology ? &*m_topology : nullptr, quality);

    nameCode(sideBand, modules, places, files);
    files.store();
    report.messages = topology::warningsOf(topologyCounts);
    for (const std::string& message : files.messages())
        report.messages.push_back(message);
    cpuTimes.finish(quality);
    samples.reportQuality();
    counters.reportQuality(db);
    feedback.reportQuality(quality);
    jit.reportQuality();
    noteDrops(stats, quality);
    closeBooks(stats, samples.books(), counters.books(), report);
}

} // namespace

LoadReport loadProfile(const LoadOptions& options, const LoadProgress& progress)
{
    return Load(options, progress).run();
}

} // namespace samplefold::load
