#include "load/load_profile.h"

#include "load/input_checksum.h"
#include "load/version.h"
#include "session/side_band_collector.h"

#include <rowvault1/result.h>

#include <charconv>
#include <cstdint>
#include <span>
#include <string>

namespace samplefold::load {
namespace {

using perfdata::Recording;
using session::Severity;

constexpr const char* g_stacksOff = "off";

perfdata::ProgressHook progressOf(const LoadProgress& progress, const char* step)
{
    return [&progress, step](std::uint64_t done, std::uint64_t total) {
        if (progress) progress(step, done, total);
        return true;
    };
}

/// A result is of one mode for good: rows of another would not fit what is there.
void checkMode(rowvault1::IResult& store, const LoadOptions& options)
{
    const std::string stacks = store.info("stacks");
    if (!stacks.empty() && stacks != g_stacksOff) {
        throw LoadError(options.result + ": was loaded with call stacks " + stacks +
                        ", this load has them off: load into a new result");
    }
    const std::string each = store.info("store_each_sample");
    const std::string wanted = options.storeEachSample ? "on" : "off";
    if (!each.empty() && each != wanted) {
        throw LoadError(options.result + ": was loaded with --store-each-sample " + each +
                        ": append with the same setting, or load into a new result");
    }
}

/// Facts of the load and of the machine of the recording, for the load_info view.
void storeInfo(rowvault1::IResult& store, const Recording& recording, const LoadOptions& options)
{
    const perfdata::Features& features = recording.features();
    store.setInfo("samplefold_version", versionText());
    store.setInfo("input", recording.name());
    store.setInfo("input_checksum", inputChecksum(options.input));
    store.setInfo("stacks", g_stacksOff);
    store.setInfo("store_each_sample", options.storeEachSample ? "on" : "off");
    store.setInfo("architecture", recording.architecture());
    store.setInfo("hostname", features.hostname);
    store.setInfo("os_release", features.osRelease);
    store.setInfo("recorder_version", features.version);
    store.setInfo("cpu", features.cpuDesc);
    std::string commandLine;
    for (const std::string& word : features.cmdline) {
        commandLine += (commandLine.empty() ? "" : " ") + word;
    }
    store.setInfo("command_line", commandLine);
}

void storeTimes(rowvault1::IResult& store, const Recording& recording)
{
    const auto range = recording.timeRange();
    store.setInfo("ticks", range ? "recorded" : "numbered");
    if (!range) return;
    store.setInfo("first_time", std::to_string(range->first));
    store.setInfo("last_time", std::to_string(range->second));
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

/// Adds to a number of the load_info view, so that it covers all loads of a result.
void addInfo(rowvault1::IResult& store, const char* key, std::uint64_t more)
{
    const std::string before = store.info(key);
    std::uint64_t total = 0;
    std::from_chars(before.data(), before.data() + before.size(), total);
    store.setInfo(key, std::to_string(total + more));
}

/// Sum of the counts of all sample rows.
std::int64_t storedCounts(rowvault1::IResult& store)
{
    struct Reader final : rowvault1::ISqlReader {
        void onColumns(std::span<const std::string>) override {}
        bool onRow(std::span<const tb2::variant_t> row) override
        {
            sum = static_cast<std::int64_t>(row[0].integer_bits());
            return true;
        }
        std::int64_t sum = 0;
    } reader;
    rowvault1::readSql(store, "SELECT sum(count) FROM sample_instance", reader);
    return reader.sum;
}

/// What the result held before the load.
struct Before {
    std::uint64_t rows = 0;
    std::int64_t counts = 0;
};

/// Every sample of the input is a row or a drop that was counted; anything else is a defect of the load.
/// Where samples are added up, the sums of their counts are compared instead of the rows.
void balance(const SampleBooks& books, const LoadReport& report, const LoadOptions& options,
             std::int64_t storedSum)
{
    const bool rowsFit =
        options.storeEachSample ? report.rows == books.added : storedSum == books.countSum;
    if (rowsFit && books.added + report.dropped == report.samples) return;
    throw LoadError(options.result + ": the books do not balance: " + std::to_string(report.samples) +
                    " samples in the input, " + std::to_string(books.added) + " taken, " +
                    std::to_string(report.rows) + " rows, " + std::to_string(report.dropped) +
                    " counted drops, counts " + std::to_string(books.countSum) + " read and " +
                    std::to_string(storedSum) + " stored: please report this with the recording");
}

void noteDrops(const perfdata::DeliveryStats& delivery, session::QualityLog& quality)
{
    quality.add("malformed sample records", delivery.badRecords,
                "their fields overrun their size; record again", Severity::dataLoss);
    quality.add("samples of unknown events", delivery.unknownIdSamples,
                "the recording names no event for them", Severity::dataLoss);
}

/// One load, step by step. Members are in the order in which they are needed.
class Load {
public:
    Load(const LoadOptions& options, const LoadProgress& progress)
        : m_options(options), m_progress(progress), m_recording(openInput()), m_store(openStore())
    {
        checkMode(*m_store, options);
        m_before.rows = m_store->instanceContainer()->size();
        if (!options.storeEachSample) m_before.counts = storedCounts(*m_store);
    }

    LoadReport run();

private:
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
    void loadSamples(session::QualityLog& quality, LoadReport& report);

    const LoadOptions& m_options;
    const LoadProgress& m_progress;
    Recording m_recording;
    tb2::sptr_t<rowvault1::IResult> m_store;
    Before m_before;
};

LoadReport Load::run()
{
    LoadReport report;
    report.databasePath = m_store->databasePath();
    if (m_recording.fault()) report.fault = m_recording.fault()->text;
    storeInfo(*m_store, m_recording, m_options);
    storeTimes(*m_store, m_recording);
    session::QualityLog quality;
    noteRecording(m_recording, quality);
    m_store->setInfo("input_fault", report.fault);
    m_store->commitPoint();

    loadSamples(quality, report);

    if (m_progress) m_progress("finishing", 0, 0);
    quality.store(m_store->database());
    addInfo(*m_store, "samples_in_input", report.samples);
    addInfo(*m_store, "sample_rows", report.rows);
    addInfo(*m_store, "samples_dropped", report.dropped);
    m_store->finish();
    return report;
}

void Load::loadSamples(session::QualityLog& quality, LoadReport& report)
{
    const auto db = m_store->database();
    session::ProcessTable processes;
    session::ModuleCatalog modules(db);
    session::SideBandCollector sideBand(m_recording, processes, modules, quality);
    sideBand.collect(progressOf(m_progress, "processes and mappings"));
    session::ProcessRows processRows(db);
    processRows.store(processes);
    session::AttributeRows attributes(db, m_recording);

    ProfileContext context(*m_store, m_options.storeEachSample, m_recording.events().size());
    SampleLoader samples(m_recording, {processes, modules, processRows, attributes, quality}, context);
    perfdata::DeliveryOptions delivery;
    delivery.filter = perfdata::Deliver::Samples;
    delivery.progress = progressOf(m_progress, "samples");
    const perfdata::DeliveryStats stats = m_recording.deliver(samples, delivery);
    if (m_progress) m_progress("writing", 0, 0);
    context.finish(samples.lastTick());

    samples.reportQuality();
    noteDrops(stats, quality);
    const SampleBooks& books = samples.books();
    report.samples = m_recording.countOf(perfdata::RecordType::Sample) + books.groupExtra;
    report.dropped = stats.badRecords + stats.unknownIdSamples + books.withoutGrowth;
    report.rows = m_store->instanceContainer()->size() - m_before.rows;
    const std::int64_t stored = m_options.storeEachSample ? 0 : storedCounts(*m_store) - m_before.counts;
    balance(books, report, m_options, stored);
}

} // namespace

LoadReport loadProfile(const LoadOptions& options, const LoadProgress& progress)
{
    return Load(options, progress).run();
}

} // namespace samplefold::load
