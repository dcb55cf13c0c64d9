#include "load/load_profile.h"

#include "load/counter_loader.h"
#include "load/input_checksum.h"
#include "load/record_type_name.h"
#include "load/version.h"
#include "names/code_names.h"
#include "session/containers.h"
#include "session/module_files.h"
#include "session/module_names.h"
#include "session/side_band_collector.h"

#include <rowvault1/result.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <future>
#include <optional>
#include <span>
#include <string>

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

/// A number of the load_info view, if it is there.
std::optional<std::uint64_t> infoNumber(rowvault1::IResult& store, const char* key)
{
    const std::string text = store.info(key);
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} ? std::optional(number) : std::nullopt;
}

/// Adds to a number of the load_info view, so that it covers all loads of a result.
void addInfo(rowvault1::IResult& store, const char* key, std::uint64_t more)
{
    store.setInfo(key, std::to_string(infoNumber(store, key).value_or(0) + more));
}

/// Sets a key of this load, unless there is nothing to tell. Appended loads have keys of their own
/// ("input of load 2"), so that every input stays named.
void setLoadInfo(rowvault1::IResult& store, const LoadOptions& options, const std::string& key,
                 const std::string& value)
{
    if (value.empty()) return;
    store.setInfo(options.append ? key + " of load " + store.info("loads") : key, value);
}

/// Facts of the load and of the machine of the recording, for the load_info view; what the
/// recording does not tell has no key.
void storeInfo(rowvault1::IResult& store, const Recording& recording, const LoadOptions& options,
               bool stacksOn)
{
    const perfdata::Features& features = recording.features();
    addInfo(store, "loads", 1);
    const auto setIfKnown = [&](const char* key, const std::string& value) {
        setLoadInfo(store, options, key, value);
    };
    setIfKnown("samplefold_version", versionText());
    setIfKnown("input", recording.name());
    store.setInfo("stacks", onOff(stacksOn));
    store.setInfo("store_each_sample", onOff(options.storeEachSample));
    setIfKnown("architecture", recording.architecture());
    setIfKnown("hostname", features.hostname);
    setIfKnown("os_release", features.osRelease);
    setIfKnown("recorder_version", features.version);
    setIfKnown("cpu", features.cpuDesc);
    std::string commandLine;
    for (const std::string& word : features.cmdline) {
        commandLine += (commandLine.empty() ? "" : " ") + word;
    }
    setIfKnown("command_line", commandLine);
}

/// How many records of each type were read, by the kernel's names.
void storeRecordCounts(rowvault1::IResult& store, const Recording& recording)
{
    for (const perfdata::RecordCount& count : recording.counts()) {
        addInfo(store, ("records " + recordTypeName(count.type)).c_str(), count.count);
    }
}

using tick_range_t = std::optional<std::pair<std::uint64_t, std::uint64_t>>;

void storeTimes(rowvault1::IResult& store, const tick_range_t& range)
{
    store.setInfo("ticks", range ? "recorded" : "numbered");
    if (!range) return;
    const std::uint64_t first = infoNumber(store, "first_time").value_or(range->first);
    const std::uint64_t last = infoNumber(store, "last_time").value_or(range->second);
    store.setInfo("first_time", std::to_string(std::min(first, range->first)));
    store.setInfo("last_time", std::to_string(std::max(last, range->second)));
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

bool hasBranches(const perfdata::Event& event)
{
    return (event.attr.sampleType & perfdata::sampleBit::BranchStack) != 0;
}

/// One load, step by step. Members are in the order in which they are needed.
class Load {
public:
    Load(const LoadOptions& options, const LoadProgress& progress)
        : m_options(checked(options)), m_progress(progress), m_recording(openInput()),
          m_store(openStore())
    {
        m_stacksOn = stacksFor(options);
        checkMode(*m_store, options, m_stacksOn);
        checkContainers(*m_store, options);
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
    void loadSamples(session::QualityLog& quality, LoadReport& report);
    void nameCode(const session::SideBandCollector& sideBand, const session::ModuleCatalog& modules,
                  const CodePlaces& places, session::ModuleFiles& files);

    const LoadOptions& m_options;
    const LoadProgress& m_progress;
    Recording m_recording;
    tb2::sptr_t<rowvault1::IResult> m_store;
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

LoadReport Load::run()
{
    // Reading all of the input once more must not keep the first samples waiting.
    std::future<std::string> checksum =
        std::async(std::launch::async, [this] { return inputChecksum(m_options.input); });
    LoadReport report;
    report.databasePath = m_store->databasePath();
    if (m_recording.fault()) report.fault = m_recording.fault()->text;
    storeInfo(*m_store, m_recording, m_options, m_stacksOn);
    storeTimes(*m_store, m_recording.timeRange());
    storeUnits(*m_store, m_recording);
    storeRecordCounts(*m_store, m_recording);
    session::QualityLog quality;
    noteRecording(m_recording, quality);
    if (!report.fault.empty()) m_store->setInfo("input_fault", report.fault);
    m_store->commitPoint();

    loadSamples(quality, report);

    if (m_progress) m_progress("finishing", 0, 0);
    quality.store(m_store->database());
    setLoadInfo(*m_store, m_options, "input_checksum", checksum.get());
    addInfo(*m_store, "samples_in_input", report.samples);
    if (report.counterValues != 0)
        addInfo(*m_store, "counter_values_in_input", report.counterValues);
    addInfo(*m_store, "sample_rows", report.rows);
    addInfo(*m_store, "samples_dropped", report.dropped);
    m_store->finish();
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
    session::AttributeRows attributes(db, m_recording);

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
    perfdata::DeliveryOptions delivery;
    const bool withSwitches = m_recording.countOf(perfdata::RecordType::Switch) +
                                  m_recording.countOf(perfdata::RecordType::SwitchCpuWide) !=
                              0;
    delivery.filter = withSwitches ? perfdata::Deliver::All : perfdata::Deliver::Samples;
    delivery.progress = progressOf(m_progress, "samples");
    const perfdata::DeliveryStats stats = m_recording.deliver(samples, delivery);
    samples.finish();
    CounterLoader counters(m_recording, {processes, processRows, attributes, quality}, context);
    counters.load(progressOf(m_progress, "counters"));
    if (!m_recording.timeRange() && counters.range().first != counters.range().second)
        storeTimes(*m_store, counters.range());
    if (m_progress) m_progress("writing", 0, 0);
    context.finish(std::max(samples.lastTick(), counters.range().second));

    nameCode(sideBand, modules, places, files);
    files.store();
    report.messages = files.messages();
    cpuTimes.finish(quality);
    samples.reportQuality();
    counters.reportQuality();
    jit.reportQuality();
    noteDrops(stats, quality);
    const SampleBooks& books = samples.books();
    report.counterValues = counters.books().values;
    report.samples =
        m_recording.countOf(perfdata::RecordType::Sample) + books.groupExtra + report.counterValues;
    report.dropped =
        stats.badSamples + stats.unknownIdSamples + books.withoutGrowth + counters.books().dropped;
    const StoredSamples stored = readStoredSamples(*m_store, !m_options.storeEachSample);
    report.rows = stored.rows - m_before.rows;
    balance(books, counters.books(), report, m_options, stored.counts - m_before.counts);
}

} // namespace

LoadReport loadProfile(const LoadOptions& options, const LoadProgress& progress)
{
    return Load(options, progress).run();
}

} // namespace samplefold::load
