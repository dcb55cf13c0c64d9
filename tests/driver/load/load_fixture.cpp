#include "load_fixture.h"

#include <algorithm>
#include <ctime>
#include <sstream>
#include <utility>

namespace samplefold::load::testing {

using samplefold_1::pmu_sample_attribute_t;

namespace {

/// Place of the clock's number in an attribute, from <linux/perf_event.h>.
constexpr std::size_t g_clockidOffset = 92;

} // namespace

LoadRun::LoadRun(rowvault1::IResult& result, perfdata::testing::Bytes recorded,
                 const std::string& name, const JitOptions& jitOptions, bool stacksOn)
    : bytes(std::move(recorded)), recording(perfdata::Recording::fromBytes(bytes.span(), name)),
      event(recording.events().front()), sideBand(recording, processes, modules, quality),
      rows(result.database()), context(result, {stacksOn, true, 1}),
      jit(context, recording, processes, quality),
      places((sideBand.collect({}), session::testing::storeModules(result, modules),
              rows.store(processes), jit.prepare(jitOptions, sideBand.tscScale()), context),
             modules, rows, jit),
      stacks(context, places, processes.kernel())
{
    EXPECT_FALSE(recording.fault()) << recording.fault()->text;
}

LoadRun::~LoadRun() = default;

LoadTest::LoadTest()
{
    SideBandRecords::sample(recordingEnd);
}

void LoadTest::begin(bool stacksOn)
{
    perfdata::testing::PerfFileBuilder whole = file();
    perfdata::testing::AttrSpec spec = event();
    if (monotonic) spec.flags |= perfdata::attrBit::UseClockid;
    whole.event(spec);
    Bytes bytes = whole.file();
    if (monotonic) {
        bytes.overwrite(perfdata::testing::PerfFileBuilder::headSize + g_clockidOffset,
                        std::uint32_t{CLOCK_MONOTONIC});
    }
    m_run = std::make_unique<LoadRun>(result(), std::move(bytes), folder.path("perf.data"), jit,
                                      stacksOn);
}

void LoadTest::end()
{
    m_run->context.finish(m_lastTick);
    m_run.reset();
}

void LoadTest::beginAgain(bool stacksOn)
{
    end();
    reopen();
    begin(stacksOn);
}

pmu_sample_attribute_t LoadTest::sample(std::uint32_t pid, const Told& told)
{
    m_run->event.attr.sampleMaxStack = told.maxStack;
    perfdata::Sample sample;
    sample.event = &m_run->event;
    sample.has = perfdata::sampleBit::Tid | perfdata::sampleBit::Time |
                 (told.hasIp ? perfdata::sampleBit::Ip : 0);
    sample.ip = told.ip;
    sample.time = told.tick;
    sample.misc = static_cast<std::uint16_t>(told.mode);
    sample.callchain = {reinterpret_cast<const std::byte*>(told.chain.data()), told.chain.size()};

    session::Process& process = m_run->processes.at(static_cast<std::int32_t>(pid), told.tick);
    pmu_sample_attribute_t attr;
    attr.ip = told.ip;
    m_run->stacks.settle(sample, process, told.tick, {}, attr);
    session::Thread& thread = process.thread(process.pid);
    if (thread.info == nullptr) thread.info = m_run->context.makeThread(m_run->rows.row(thread));
    m_run->context.addSample(*thread.info, attr, told.tick, 1, 0);
    m_lastTick = std::max(m_lastTick, told.tick);
    return attr;
}

std::string LoadTest::chainOf(std::uint32_t pid, const Told& told)
{
    const std::int32_t callsite = sample(pid, told).callsite.value();
    return chainText(frames(), callsite);
}

std::map<std::int32_t, Frame> LoadTest::frames()
{
    const auto rows =
        ask("SELECT c.id, ifnull(c.parent, -1), ifnull(l.mod_seg, -1), ifnull(f.path, '-'), l.rva, "
            "ifnull(fn.name, '-'), c.mark FROM dd_callsite c "
            "JOIN dd_code_location l ON l.id = c.code_loc "
            "LEFT JOIN dd_module_segment s ON s.id = l.mod_seg "
            "LEFT JOIN dd_module_file f ON f.id = s.module "
            "LEFT JOIN dd_code_name n ON n.mod_seg = l.mod_seg AND n.rva = l.rva "
            "LEFT JOIN dd_function fn ON fn.id = n.function ORDER BY c.id");
    std::map<std::int32_t, Frame> frames;
    for (const std::string& row : rows) {
        std::istringstream line(row);
        const auto next = [&line] {
            std::string field;
            std::getline(line, field, '|');
            return field;
        };
        const std::int32_t callsite = std::stoi(next());
        Frame& frame = frames[callsite];
        frame.parent = std::stoi(next());
        frame.segment = std::stoi(next());
        frame.module = next();
        frame.rva = static_cast<std::uint64_t>(std::stoll(next()));
        frame.function = next();
        frame.mark = std::stoi(next());
    }
    return frames;
}

std::int64_t LoadTest::rowsOf(const std::string& table)
{
    return std::stoll(ask("SELECT count(*) FROM " + table).at(0));
}

std::vector<std::string> LoadTest::repeatedFrames()
{
    return ask("SELECT ifnull(c.parent, -1), ifnull(l.mod_seg, -1), l.rva, count(*) "
               "FROM dd_callsite c JOIN dd_code_location l ON l.id = c.code_loc "
               "GROUP BY 1, 2, 3 HAVING count(*) > 1");
}

std::string chainText(const std::map<std::int32_t, Frame>& frames, std::int32_t callsite)
{
    std::ostringstream text;
    text << std::hex;
    for (auto at = frames.find(callsite); at != frames.end(); at = frames.find(at->second.parent)) {
        const Frame& frame = at->second;
        text << (text.tellp() == 0 ? "" : " ") << frame.module;
        if (frame.function != "-") text << ":" << frame.function;
        text << "+" << frame.rva;
    }
    return text.str();
}

} // namespace samplefold::load::testing
