#include "load/counter_loader.h"

#include "perfdata/cpu_map.h"
#include "session/row_writer.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string>
#include <system_error>

namespace samplefold::load {

using perfdata::RecordType;
using samplefold_1::pmu_sample_attribute_t;
using session::Severity;
using session::Thread;

namespace {

/// Apart from those that ProcessTable gives out.
constexpr std::int32_t g_machineLife = -2;

struct DropText {
    CounterDrop reason;
    const char* text;
    const char* remedy;
    Severity severity;
};

constexpr DropText g_dropTexts[] = {
    {CounterDrop::UnknownEvent, "counter values of unknown events",
     "the recording names no event for them", Severity::dataLoss},
    {CounterDrop::UnknownThread, "counter values of unknown threads",
     "the recording's thread map has no such entry; record again", Severity::dataLoss},
    {CounterDrop::ReadTwice, "counter values that were read again in the same round",
     "nothing to do: they are part of the later value", Severity::info},
    {CounterDrop::NotEnabled, "counter values of rounds in which the counter was not enabled",
     "nothing to do: what it counts did not run, or the event is not supported there",
     Severity::info},
    {CounterDrop::NotRunning, "counter values of rounds in which the counter was not running",
     "count fewer events at once, so that each has a counter of the CPU", Severity::dataLoss},
    {CounterDrop::RunningBeyondEnabled, "counter values that ran for longer than they were enabled",
     "their counts cannot be right; record again", Severity::dataLoss},
    {CounterDrop::WentDown, "counter values below those of the round before",
     "what was counted in that round is not known, the next one counts from there; record again",
     Severity::dataLoss},
    {CounterDrop::BeyondTime, "counter values of more time on CPUs than the round had",
     "their counts cannot be right; record again", Severity::dataLoss},
    {CounterDrop::BeyondCounter, "counter values beyond what a counter can count in the time",
     "their counts cannot be right: the counter wrapped round or was set anew; shorter intervals "
     "(-I) lose less",
     Severity::dataLoss},
    {CounterDrop::TooLarge, "counter values beyond 63 bits",
     "their counts cannot be right; record again", Severity::dataLoss},
    {CounterDrop::RoundOutOfTime, "counter values of rounds that do not end after the one before",
     "the next round has what they counted; record again where there is none", Severity::dataLoss},
    {CounterDrop::SameAfterLastRound, "counter values read again behind the last round",
     "nothing to do: they had not grown", Severity::info},
    {CounterDrop::AfterLastRound, "counter values behind the last round",
     "when they were read is not told, so that what was counted since is left out; shorter "
     "intervals (-I) leave out less",
     Severity::dataLoss},
};
static_assert(std::size(g_dropTexts) == static_cast<std::size_t>(CounterDrop::Last));

/// Rounds count from the start of the run. It gets a tick above 0, since that is no tick; in a
/// recording that has other times as well, their first; else the run goes on from the last tick
/// that the result has.
std::uint64_t startOf(const perfdata::Recording& recording, std::uint64_t lastTick)
{
    const auto range = recording.timeRange();
    const std::uint64_t before = recording.isCountingRun() ? lastTick : 0;
    return std::clamp<std::uint64_t>(range ? range->first : before, 1, std::uint64_t{1} << 62);
}

std::uint32_t cpusOf(const perfdata::Recording& recording)
{
    const perfdata::Features& features = recording.features();
    return features.cpusOnline.value_or(features.cpusAvailable.value_or(0));
}

} // namespace

CounterLoader::CounterLoader(const perfdata::Recording& recording,
                             const SampleLoader::Session& session, ProfileContext& context,
                             std::uint64_t lastTick)
    : m_recording(recording), m_session(session), m_context(context),
      m_rounds(startOf(recording, lastTick), cpusOf(recording))
{
    m_machine.pid = -1;
    m_machine.life = g_machineLife;
    m_machine.name = "[all processes]";
    m_rounds.onRefusal([this](const CounterKey& key, CounterDrop reason) {
        ++m_drops[{key.event, key.cpu, reason}];
    });
}

/// Their records have no time: they come in the order of the file.
void CounterLoader::load(const perfdata::ProgressHook& progress)
{
    m_books.values = m_recording.countOf(RecordType::Stat);
    if (m_books.values == 0) return;
    perfdata::DeliveryOptions options;
    options.filter = perfdata::Deliver::SideBand;
    options.progress = progress;
    m_recording.deliver(*this, options);
    m_rounds.finish();
    for (const DropText& drop : g_dropTexts)
        m_books.dropped += m_rounds.dropped(drop.reason);
    // Those that did not come were counted with the malformed records other than samples.
    m_books.dropped += m_books.values - m_seen;
}

void CounterLoader::onThreadMap(const perfdata::ThreadMapRecord& record)
{
    m_threads.clear();
    for (const perfdata::ThreadMapEntry& entry : record.threads)
        m_threads.emplace_back(std::max(entry.tid, -1), std::string(entry.comm));
}

/// Where counts are of any CPU, older recorders give them the number of their place in the map.
void CounterLoader::onCpuMap(const perfdata::CpuMapRecord& record)
{
    m_cpusAreNamed = record.cpus.size() != 1 || record.cpus.front() != perfdata::anyCpu;
}

void CounterLoader::onStat(const perfdata::StatRecord& record)
{
    ++m_seen;
    const perfdata::Event* const event = m_recording.eventById(record.id.value_or(0));
    if (event == nullptr) return m_rounds.drop(CounterDrop::UnknownEvent);
    if (record.threadIndex >= m_threads.size()) return m_rounds.drop(CounterDrop::UnknownThread);
    m_rounds.add({event, cpuOf(*event, record.counterCpu), m_threads[record.threadIndex].first},
                 {record.value, record.timeEnabled, record.timeRunning});
}

/// An event that counts on some CPUs alone, as those of the uncore do, names them. Older recorders
/// give the number of the place among these.
std::int32_t CounterLoader::cpuOf(const perfdata::Event& event, std::uint32_t number) const
{
    const std::vector<std::uint32_t>& own = event.cpus;
    const bool isNamed = !own.empty() && own.front() != perfdata::anyCpu;
    if (!isNamed && !m_cpusAreNamed) return -1;
    const bool isPlace = isNamed && number < own.size() && !std::ranges::binary_search(own, number);
    return std::max(static_cast<std::int32_t>(isPlace ? own[number] : number), -1);
}

void CounterLoader::onStatRound(const perfdata::StatRoundRecord& record)
{
    m_rounds.close(record.roundTime, [this](const CountedInterval& interval) { add(interval); });
}

void CounterLoader::add(const CountedInterval& interval)
{
    const Row& row = rowOf(interval.key);
    pmu_sample_attribute_t attr;
    attr.event_type = m_session.attributes.countedEvent(*interval.key.event);
    attr.cpu = row.cpu;
    m_context.addInterval(*row.thread->info, attr, interval.previous, interval.last,
                          interval.count);
    ++m_books.rows;
    m_books.countSum += static_cast<std::uint64_t>(interval.count);
    m_extrapolated += interval.isExtrapolated ? 1 : 0;
}

CounterLoader::Row& CounterLoader::rowOf(const CounterKey& key)
{
    const auto [entry, isNew] = m_rows.try_emplace({key.cpu, key.thread});
    Row& row = entry->second;
    if (!isNew) return row;
    row.thread = key.thread < 0 ? &wholeMachine(key.cpu) : &threadOf(key.thread);
    if (row.thread->info == nullptr)
        row.thread->info = m_context.makeThread(m_session.processRows.row(*row.thread));
    if (key.cpu >= 0) row.cpu = m_session.attributes.cpu(static_cast<std::uint32_t>(key.cpu));
    return row;
}

Thread& CounterLoader::wholeMachine(std::int32_t cpu)
{
    Thread& thread = m_machine.thread(cpu);
    thread.name = cpu < 0 ? "[all CPUs]" : "[CPU " + std::to_string(cpu) + "]";
    return thread;
}

Thread& CounterLoader::threadOf(std::int32_t tid)
{
    session::Process& process = m_session.processes.at(tid, m_rounds.start());
    Thread& thread = process.thread(tid);
    const auto named = std::find_if(m_threads.begin(), m_threads.end(),
                                    [tid](const auto& entry) { return entry.first == tid; });
    if (named != m_threads.end() && thread.name.empty()) thread.name = named->second;
    if (process.name.empty()) process.name = thread.name;
    // The only thread is the command that was run, or one that was asked for by its number.
    if (m_threads.size() > 1) m_guessed.insert(tid);
    return thread;
}

void CounterLoader::storeDrops(const tb2::sptr_t<rowvault1::IDatabase>& db)
{
    session::RowWriter writer(db, "dd_counter_drop");
    for (const auto& [key, count] : m_drops) {
        const auto& [event, cpu, reason] = key;
        const samplefold_1::Index cpuRow =
            cpu >= 0 ? m_session.attributes.cpu(static_cast<std::uint32_t>(cpu))
                     : samplefold_1::Index();
        const auto text = std::ranges::find(g_dropTexts, reason, &DropText::reason);
        writer
            .set("event_type",
                 rowvault1::utils::indexToVariant(m_session.attributes.countedEvent(*event)))
            .set("cpu", rowvault1::utils::indexToVariant(cpuRow))
            .set("reason", tb2::variant_t(std::string_view(text->text)))
            .set("implausible", tb2::variant_t(isImplausible(reason) ? 1 : 0))
            .set("count", tb2::variant_t(count));
        writer.commit();
    }
}

void CounterLoader::reportQuality(const tb2::sptr_t<rowvault1::IDatabase>& db)
{
    storeDrops(db);
    for (const DropText& drop : g_dropTexts)
        m_session.quality.add(drop.text, m_rounds.dropped(drop.reason), drop.remedy, drop.severity);
    m_session.quality.add(
        "counts scaled up for the time in which their counter was not running", m_extrapolated,
        "count fewer events at once, so that each has a counter of the CPU", Severity::info);
    m_session.quality.add(
        "counted threads whose process the recording does not name", m_guessed.size(),
        "each stands as a process of its own; add up those that belong together", Severity::info);
}

void storeUnits(rowvault1::IResult& store, const perfdata::Recording& recording)
{
    if (recording.countOf(RecordType::Stat) == 0) return;
    for (const perfdata::Event& event : recording.events()) {
        if (event.unit.empty()) continue;
        char scale[32];
        const auto [end, error] = std::to_chars(scale, scale + sizeof scale, event.scale);
        const std::string text = error == std::errc() ? std::string(scale, end) : "?";
        store.setInfo("unit of " + event.name, event.unit + ", a count times " + text);
    }
}

} // namespace samplefold::load
