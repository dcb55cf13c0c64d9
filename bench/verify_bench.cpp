// What checks of branch records cost when everything is warm: links a second, and merging a chain
// of 16 frames with 32 records; then what the first touch of a function costs, which decodes it.
// The code is this program's own: a tower of functions, each of which calls the next. The floor is
// the least that tells anything: for both ends of a link, a bisection in an array of the functions'
// first addresses.
#include <samplefold_1/stack_verifier.h>
#include <support/temporary_folder.h>

#include <rowvault1/result.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using rowvault1::Index;
using samplefold_1::branch_t;
using samplefold_1::IP_SKIPPED_FRAMES;
using samplefold_1::SegInstMap;
using samplefold_1::StackVerifier;

constexpr std::size_t g_records = 32;
constexpr std::size_t g_frames = 16;
constexpr std::uint32_t g_pid = 1;
constexpr std::uint64_t g_tick = 1000;

volatile int g_sink = 0;

template <std::size_t Level>
__attribute__((noinline, noclone)) void tower()
{
    g_sink = g_sink + 1;
    if constexpr (Level > 0) tower<Level - 1>();
    g_sink = g_sink + static_cast<int>(Level);
}

template <std::size_t... Level>
std::array<std::uint64_t, sizeof...(Level)> addressesOf(std::index_sequence<Level...>)
{
    return {reinterpret_cast<std::uint64_t>(&tower<Level>)...};
}

/// This program's code, mapped where it is.
struct Code {
    Code()
    {
        std::ifstream maps("/proc/self/maps");
        for (std::string line; std::getline(maps, line);)
            take(line);
    }

    void take(const std::string& line)
    {
        std::uint64_t low = 0;
        std::uint64_t high = 0;
        std::uint64_t offset = 0;
        char rights[5] = {};
        char path[4096] = {};
        std::sscanf(line.c_str(), "%" SCNx64 "-%" SCNx64 " %4s %" SCNx64 " %*s %*s %4095s", &low,
                    &high, rights, &offset, path);
        const auto inside = reinterpret_cast<std::uint64_t>(&tower<0>);
        if (inside < low || inside >= high) return;
        const auto db = result->database();
        const auto add = [&](const char* table, const tb2::variant_t& value) {
            rowvault1::OrphanRecord row(db->getAttributeTable(table)->createOrphanRecord());
            row[0] = value;
            Index key;
            row.commit(key, 0, 0);
            return key;
        };
        const Index module = add("dd_module_file", tb2::variant_t(path));
        const Index segment = add("dd_module_segment", tb2::variant_t(module.value()));
        const Index instance = add("dd_segment_instance", tb2::variant_t(segment.value()));
        process.values.push_back(
            {low, high - 1, 0, ~std::uint64_t{0}, path, offset, instance, module});
    }

    samplefold_test::TemporaryFolder folder;
    tb2::sptr_t<rowvault1::IResult> result =
        rowvault1::openResult(folder.path("result"), rowvault1::open_mode_t::create);
    samplefold_1::StaticModuleInfoCache modules{result->database(), folder.path("result")};
    SegInstMap process;
    SegInstMap kernel;
};

/// Where each function of the tower calls the next: the first direct call of that target.
struct Stack {
    explicit Stack(Code& code) : verifier(code.modules, nullptr, true)
    {
        starts = addressesOf(std::make_index_sequence<g_records + 1>{});
        for (std::size_t level = g_records; level > 0; --level)
            records.push_back({callSite(code, level), starts[level - 1]});
        ip = starts[0] + 1;
        std::ranges::sort(starts);
    }

    std::uint64_t callSite(Code& code, std::size_t level)
    {
        std::uint64_t rva = 0;
        std::uint64_t target = 0;
        samplefold_1::SegInstInfo* segment = nullptr;
        bool isKernel = false;
        std::string path;
        const auto find = [&](std::uint64_t address, std::uint64_t& at) {
            return verifier.getRva(address, g_tick, g_tick, g_pid, code.kernel, code.process, at,
                                   segment, isKernel, path);
        };
        if (!find(starts[level], rva) || !find(starts[level - 1], target)) fail();
        verifier.getCachedSymbolBank(path);
        const auto navigator = verifier.getCachedBlockNavigator(path);
        for (navigator->goTo(rva); navigator->getCurrentBlock() != nullptr;) {
            const auto* const block = navigator->getCurrentBlock();
            if (block->getTarget() == target)
                return block->getLastInstruction() + (starts[level] - rva);
            if (!navigator->stepToNext()) break;
        }
        fail();
    }

    [[noreturn]] static void fail()
    {
        std::fprintf(stderr, "the program's own code cannot be read\n");
        std::exit(1);
    }

    StackVerifier verifier;
    std::array<std::uint64_t, g_records + 1> starts{};
    std::vector<branch_t> records; ///< oldest first
    std::uint64_t ip = 0;
};

void verifyWarm(benchmark::State& state)
{
    Code code;
    Stack stack(code);
    std::vector<branch_t> records;
    std::size_t kept = 0;
    for (auto _ : state) {
        records = stack.records;
        stack.verifier.verify(records, stack.ip, g_tick, g_pid, code.kernel, code.process);
        kept += records.size();
    }
    if (kept != g_records * state.iterations()) state.SkipWithError("links were cut");
    state.counters["links/s"] =
        benchmark::Counter(static_cast<double>(kept), benchmark::Counter::kIsRate);
}
BENCHMARK(verifyWarm);

void floorOfVerify(benchmark::State& state)
{
    Code code;
    Stack stack(code);
    std::size_t links = 0;
    std::size_t sum = 0;
    for (auto _ : state) {
        std::uint64_t child = stack.ip;
        for (auto record = stack.records.rbegin(); record != stack.records.rend(); ++record) {
            for (const std::uint64_t address : {record->to, child}) {
                sum += static_cast<std::size_t>(std::ranges::upper_bound(stack.starts, address) -
                                                stack.starts.begin());
            }
            child = record->from;
            ++links;
        }
    }
    benchmark::DoNotOptimize(sum);
    state.counters["links/s"] =
        benchmark::Counter(static_cast<double>(links), benchmark::Counter::kIsRate);
}
BENCHMARK(floorOfVerify);

void mergeWarm(benchmark::State& state)
{
    Code code;
    Stack stack(code);
    std::vector<std::uint64_t> software;
    for (std::size_t i = 0; i < g_frames - 1; ++i)
        software.push_back(stack.records[g_records - 1 - i].from + 1); // inside of the call
    software.push_back(IP_SKIPPED_FRAMES);
    std::vector<branch_t> records = stack.records;
    stack.verifier.verify(records, stack.ip, g_tick, g_pid, code.kernel, code.process);
    std::vector<std::uint64_t> chain;
    for (auto _ : state) {
        chain = software;
        if (!stack.verifier.merge(records, chain, g_tick, g_tick, g_pid, code.kernel, code.process,
                                  nullptr)) {
            state.SkipWithError("not merged");
            return;
        }
    }
}
BENCHMARK(mergeWarm);

/// Cost of the first look at a module: a stack is verified and merged by a new verifier.
void firstTouchOfModule(benchmark::State& state)
{
    Code code;
    const Stack found(code);
    for (auto _ : state) {
        StackVerifier verifier(code.modules, nullptr, true);
        std::vector<branch_t> records = found.records;
        verifier.verify(records, found.ip, g_tick, g_pid, code.kernel, code.process);
        std::vector<std::uint64_t> chain{IP_SKIPPED_FRAMES};
        verifier.merge(records, chain, g_tick, g_tick, g_pid, code.kernel, code.process, nullptr);
    }
}
BENCHMARK(firstTouchOfModule)->Unit(benchmark::kMicrosecond);

/// Cost of the first look at a function of a module that is known, by its share of them all.
void firstTouchOfFunction(benchmark::State& state)
{
    Code code;
    const Stack found(code);
    const auto& segment = code.process.values.front();
    for (auto _ : state) {
        StackVerifier verifier(code.modules, nullptr, true);
        std::vector<branch_t> records = found.records;
        verifier.verify(records, found.ip, g_tick, g_pid, code.kernel, code.process);
        const std::string path = segment.modulePath;
        const auto navigator = verifier.getCachedBlockNavigator(path);
        const std::uint64_t offset = code.modules.getOffsetFromModuleLoadAddress(
            segment.segInstIndex, path, segment.offsetInFile);
        const auto before = std::chrono::steady_clock::now();
        for (const std::uint64_t start : found.starts)
            navigator->goTo(start - segment.lowAddress + offset);
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - before;
        state.SetIterationTime(time.count() / static_cast<double>(found.starts.size()));
    }
}
BENCHMARK(firstTouchOfFunction)->UseManualTime()->Iterations(2000);

} // namespace
