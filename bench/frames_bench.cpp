#include <driver/perfdata/perf_file_builder.h>
#include <load/stack_loader.h>
#include <session/quality_log.h>
#include <session/side_band_collector.h>
#include <support/temporary_folder.h>

#include <rowvault1/result.h>

#include <benchmark/benchmark.h>
#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

// Frames that were met before: an address in generated code, and a sample's whole call chain.
// "of_floor" is the time divided by that of the floor on the same questions in the same run: for
// generated code a bisection in an array of the functions' addresses, for a chain a hash of its
// bytes and a look-up in std::unordered_map.
namespace {

namespace perfdata = samplefold::perfdata;
namespace load = samplefold::load;
namespace session = samplefold::session;
using perfdata::testing::AttrSpec;
using perfdata::testing::Bytes;

constexpr std::uint64_t g_codeStart = 0x7f0000000000;
constexpr std::uint64_t g_functionBytes = 64;
constexpr std::uint32_t g_pid = 4711;
constexpr std::size_t g_questions = 1U << 16;

/// Writes a jitdump in which every function is loaded at a tick of its own.
void writeDump(const std::string& path, std::uint64_t functions)
{
    Bytes out;
    out.u32(0x4A695444).u32(1).u32(40).u32(62).u32(0).u32(g_pid).u64(0).u64(0);
    for (std::uint64_t i = 0; i < functions; ++i) {
        const std::string name = "function_" + std::to_string(i);
        const std::uint64_t address = g_codeStart + i * g_functionBytes;
        out.u32(0)
            .u32(static_cast<std::uint32_t>(56 + name.size() + 1 + g_functionBytes))
            .u64(i + 1);
        out.u32(g_pid).u32(g_pid).u64(address).u64(address).u64(g_functionBytes).u64(i);
        out.chars(name).u8(0).zeros(g_functionBytes);
    }
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(out.span().data()),
               static_cast<std::streamsize>(out.size()));
}

class JitContext : public samplefold_1::LoaderContext {
public:
    explicit JitContext(const std::string& folder)
    {
        m_jitDataPath = folder;
        createJitLoader(g_pid);
    }
};

template <class Ask>
double nanosecondsEach(const Ask& ask, std::size_t questions)
{
    double best = 1e9;
    for (int run = 0; run < 5; ++run) {
        const auto from = std::chrono::steady_clock::now();
        for (std::size_t i = 0; i < questions; ++i)
            ask(i);
        const std::chrono::duration<double, std::nano> took =
            std::chrono::steady_clock::now() - from;
        best = std::min(best, took.count() / static_cast<double>(questions));
    }
    return best;
}

void tell(benchmark::State& state, double time, double floor)
{
    state.counters["ns"] = time;
    state.counters["floor_ns"] = floor;
    state.counters["of_floor"] = time / floor;
}

void warmJitAddress(benchmark::State& state)
{
    const auto functions = static_cast<std::uint64_t>(state.range(0));
    const samplefold_test::TemporaryFolder folder;
    writeDump(folder.path("jit-" + std::to_string(g_pid) + ".dump"), functions);
    const JitContext context(folder.path());
    std::vector<std::uint64_t> starts;
    for (std::uint64_t i = 0; i < functions; ++i)
        starts.push_back(g_codeStart + i * g_functionBytes);
    std::mt19937_64 random(3);
    std::vector<std::uint64_t> asked(g_questions);
    for (std::uint64_t& address : asked)
        address = g_codeStart + random() % (functions * g_functionBytes);
    std::uint64_t rva = 0;
    if (context.resolveAddrAsJit(asked[0], functions + 1, g_pid, &rva) != 0)
        return state.SkipWithError("the dump does not resolve");
    for ([[maybe_unused]] auto _ : state) {
        const double floor = nanosecondsEach(
            [&](std::size_t i) {
                benchmark::DoNotOptimize(std::upper_bound(starts.begin(), starts.end(), asked[i]));
            },
            g_questions);
        const double time = nanosecondsEach(
            [&](std::size_t i) {
                benchmark::DoNotOptimize(
                    context.resolveAddrAsJit(asked[i], functions + 1, g_pid, &rva));
            },
            g_questions);
        tell(state, time, floor);
    }
}

/// A recording of samples with chains in one mapped file, each chain with its own leaf.
Bytes chainRecording(std::uint64_t chains, std::uint64_t depth)
{
    perfdata::testing::PerfFileBuilder file;
    AttrSpec event;
    event.sampleType = perfdata::sampleBit::Ip | perfdata::sampleBit::Tid |
                       perfdata::sampleBit::Time | perfdata::sampleBit::Callchain;
    event.flags = perfdata::attrBit::SampleIdAll;
    file.event(event);
    Bytes mapping;
    mapping.u32(g_pid).u32(g_pid).u64(g_codeStart).u64(1U << 30).u64(0).paddedText("/opt/program");
    mapping.u32(g_pid).u32(g_pid).u64(1);
    file.add(1, mapping, 2);
    for (std::uint64_t i = 0; i < chains; ++i) {
        Bytes body;
        const std::uint64_t ip = g_codeStart + i * 16;
        body.u64(ip).u32(g_pid).u32(g_pid).u64(i + 2).u64(depth + 1);
        body.u64(perfdata::context::User).u64(ip);
        for (std::uint64_t level = 1; level < depth; ++level)
            body.u64(g_codeStart + (level << 24) + (i >> level) * 16);
        file.add(9, body, 2);
    }
    return file.file();
}

/// Keeps the samples; what they point at lives as long as the recording.
struct Samples : perfdata::RecordSink {
    void onSample(const perfdata::Sample& sample) override { samples.push_back(sample); }
    std::vector<perfdata::Sample> samples;
};

void warmCallchain(benchmark::State& state)
{
    const auto chains = static_cast<std::uint64_t>(state.range(0));
    const auto depth = static_cast<std::uint64_t>(state.range(1));
    const samplefold_test::TemporaryFolder folder;
    const Bytes bytes = chainRecording(chains, depth);
    const auto recording = perfdata::Recording::fromBytes(bytes.span(), "bench");
    const auto result =
        rowvault1::openResult(folder.path("result"), rowvault1::open_mode_t::create);
    session::ProcessTable processes;
    session::ModuleCatalog modules;
    session::QualityLog quality;
    session::SideBandCollector(recording, processes, modules, quality).collect({});
    session::ModuleFiles files(result->database(), folder.path("result"), {});
    files.expect(modules.buildIds(), {});
    modules.store(result->database(), files);
    session::ProcessRows rows(result->database());
    load::ProfileContext context(*result, {true, true, 1});
    load::JitCode jit(context, recording, processes, quality);
    jit.prepare({false, {}}, {});
    load::CodePlaces places(context, modules, rows, jit);
    load::StackLoader stacks(context, places, processes.kernel());
    Samples sink;
    recording.deliver(sink);

    session::Process& process = processes.newest(g_pid);
    samplefold_1::pmu_sample_attribute_t attr;
    std::unordered_map<std::uint64_t, std::uint64_t> known;
    const auto hashOf = [](const perfdata::Sample& sample) {
        return XXH3_64bits(sample.callchain.bytes(), sample.callchain.size() * 8);
    };
    for (const perfdata::Sample& sample : sink.samples) {
        stacks.settle(sample, process, sample.time, {}, attr);
        known[hashOf(sample)] = sample.time;
    }
    std::vector<std::size_t> asked(g_questions);
    std::mt19937_64 random(4);
    for (std::size_t& number : asked)
        number = random() % sink.samples.size();
    const std::uint64_t tick = chains + 2;
    for ([[maybe_unused]] auto _ : state) {
        const double floor = nanosecondsEach(
            [&](std::size_t i) {
                benchmark::DoNotOptimize(known.find(hashOf(sink.samples[asked[i]])));
            },
            g_questions);
        const double time = nanosecondsEach(
            [&](std::size_t i) {
                stacks.settle(sink.samples[asked[i]], process, tick, {}, attr);
                benchmark::DoNotOptimize(attr.callsite);
            },
            g_questions);
        tell(state, time, floor);
    }
}

BENCHMARK(warmJitAddress)->Arg(1000)->Arg(100'000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(warmCallchain)
    ->Args({1000, 12})
    ->Args({20'000, 12})
    ->Args({20'000, 100})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

} // namespace
