// The library alone: attributes and samples in, bucket pass, flush, over a store that only counts.
#include "counting_store.h"

#include <load/bucket_pass.h>
#include <samplefold_1/loader_context.h>
#include <samplefold_1/thread_state.h>

#include <benchmark/benchmark.h>
#include <oneapi/tbb/task_arena.h>

#include <array>
#include <ctime>
#include <memory>
#include <random>
#include <vector>

namespace {

using namespace samplefold_1;
using samplefold_bench::clock_t;

constexpr std::size_t g_distinct = 100'000;
constexpr std::size_t g_batch = std::size_t{256} << 10;
constexpr std::size_t g_batches = 8;
constexpr std::size_t g_block = 1024; ///< samples between two looks at the clock
constexpr std::int32_t g_threads = 16;
constexpr std::int32_t g_slots = 4;

enum stage_t { addAttribute, addSample, bucketPass, bucketFlush, sampleWalk, repack, stages };
constexpr std::array<const char*, stages> g_stageNames{
    "%add_attribute", "%add_sample", "%bucket_pass", "%bucket_flush", "%sample_walk", "%repack"};

class Stopwatch {
public:
    void count(stage_t stage, clock_t::time_point from, clock_t::time_point to)
    {
        m_seconds[stage] += std::chrono::duration<double>(to - from).count();
    }
    double total() const
    {
        double sum = 0;
        for (const double one : m_seconds)
            sum += one;
        return sum;
    }
    double share(std::size_t stage) const { return 100.0 * m_seconds[stage] / total(); }

private:
    std::array<double, stages> m_seconds{};
};

class BenchContext : public LoaderContext {
public:
    explicit BenchContext(bool linkCallsiteParents)
        : m_container(tb2::make_counted<samplefold_bench::CountingContainer>())
    {
        m_linkCallsiteParents = linkCallsiteParents;
        m_instanceContainer = m_container;
        setDb(tb2::make_counted<samplefold_bench::CountingDatabase>());
        initAttributeCaches(attributeBuckets);
        for (std::int32_t i = 0; i < g_threads; ++i) {
            m_threads.push_back(
                std::make_unique<ThreadInfo>(this, Index(i), g_slots, true, Index(i)));
        }
    }

    ThreadInfo& thread(std::size_t n) { return *m_threads[n]; }
    const samplefold_bench::CountingContainer& container() const { return *m_container; }

    void passAndFlush(Stopwatch& watch)
    {
        const auto start = clock_t::now();
        m_bucketPass.run(m_threadContexts, m_sampleAttributes, m_linkCallsiteParents);
        const auto passed = clock_t::now();
        flushData();
        const auto end = clock_t::now();
        watch.count(bucketPass, start, passed);
        watch.count(bucketFlush, passed, m_container->recordMade);
        watch.count(sampleWalk, m_container->recordMade, m_repackStart);
        watch.count(repack, m_repackStart, end);
    }

protected:
    void repackAttributesForCurrentlyProcessedSamples() override
    {
        m_repackStart = clock_t::now();
        std::vector<std::vector<pmu_sample_attribute_t>> copies(m_threads.size());
        for (std::size_t i = 0; i < copies.size(); ++i)
            m_threads[i]->getCopyOfLastSamples(copies[i]);
        m_pmuData.reset();
        m_sampleAttributes.reset();
        for (std::size_t i = 0; i < copies.size(); ++i)
            m_threads[i]->setLastSamplesFromCopy(copies[i]);
    }

private:
    tb2::sptr_t<samplefold_bench::CountingContainer> m_container;
    std::vector<std::unique_ptr<ThreadInfo>> m_threads;
    samplefold::load::BucketPass m_bucketPass;
    clock_t::time_point m_repackStart;
};

/// One decoded sample, as a driver would hand it in.
struct input_t {
    pmu_sample_attribute_t attr;
    std::uint32_t thread;
    std::int32_t slot;
};

pmu_sample_attribute_t distinctAttribute(std::size_t n, bool linkCallsiteParents)
{
    pmu_sample_attribute_t attr;
    attr.event_type = Index(static_cast<std::int32_t>(n % g_slots));
    attr.cpu = Index(static_cast<std::int32_t>(n / g_slots % 8));
    attr.cpu_mode = Index(static_cast<std::int32_t>(n % 2));
    const std::uint64_t place = n / 8 * 2654435761u % (1u << 24);
    attr.ip = 0x400000 + place;
    attr.seg_inst = Index(static_cast<std::int32_t>(place % 97));
    if (linkCallsiteParents) {
        attr.callsite = Index(static_cast<std::int32_t>(n / 8));
    } else {
        attr.code_loc.mod_seg = Index(static_cast<std::int32_t>(place % 97));
        attr.code_loc.rva = place;
    }
    return attr;
}

/// One batch of samples, each attribute as likely as any other: the worst case for the caches.
std::vector<input_t> makeBatch(bool linkCallsiteParents)
{
    std::mt19937_64 random(1);
    std::vector<input_t> batch(g_batch);
    for (input_t& one : batch) {
        one.attr = distinctAttribute(random() % g_distinct, linkCallsiteParents);
        one.thread = static_cast<std::uint32_t>(random() % g_threads);
        one.slot = static_cast<std::int32_t>(random() % g_slots);
    }
    return batch;
}

void feed(BenchContext& context, const std::vector<input_t>& batch, std::uint64_t& tsc,
          Stopwatch& watch)
{
    std::array<pmu_sample_attribute_t*, g_block> stored;
    for (std::size_t first = 0; first < batch.size(); first += g_block) {
        const auto start = clock_t::now();
        for (std::size_t i = 0; i < g_block; ++i) {
            stored[i] = context.addpmuSampleAttribute(batch[first + i].attr);
        }
        const auto added = clock_t::now();
        for (std::size_t i = 0; i < g_block; ++i) {
            const input_t& one = batch[first + i];
            context.thread(one.thread)
                .addSample(tsc += 17, stored[i], 100003, 0, 0, false, one.slot, g_slots);
        }
        watch.count(addAttribute, start, added);
        watch.count(addSample, added, clock_t::now());
    }
}

/// Processor time of the whole process: on a machine with other work it tells more than the clock.
double processorSeconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Loads 8 batches of 256k samples into a fresh context. Arguments: call stacks on, workers of the
/// pass.
void loadSamples(benchmark::State& state)
{
    const bool linkCallsiteParents = state.range(0) != 0;
    oneapi::tbb::task_arena arena(static_cast<int>(state.range(1)));
    const std::vector<input_t> batch = makeBatch(linkCallsiteParents);
    Stopwatch watch;
    double processorTime = 0;
    for (auto _ : state) {
        const double before = watch.total();
        auto context = std::make_unique<BenchContext>(linkCallsiteParents);
        const double processorBefore = processorSeconds();
        std::uint64_t tsc = 1'000'000;
        for (std::size_t i = 0; i < g_batches; ++i) {
            feed(*context, batch, tsc, watch);
            arena.execute([&] { context->passAndFlush(watch); });
        }
        processorTime += processorSeconds() - processorBefore;
        if (context->container().rows != g_batch * g_batches - g_threads * g_slots) {
            state.SkipWithError("rows are missing");
        }
        benchmark::DoNotOptimize(context->container().checksum);
        state.SetIterationTime(watch.total() - before);
    }
    const auto samples = static_cast<double>(state.iterations() * g_batch * g_batches);
    state.counters["samples/s"] = samples / watch.total();
    state.counters["samples/cpu_s"] = samples / processorTime;
    for (std::size_t i = 0; i < stages; ++i)
        state.counters[g_stageNames[i]] = watch.share(i);
}

BENCHMARK(loadSamples)
    ->ArgNames({"stacks", "workers"})
    ->ArgsProduct({{0, 1}, {1, 2}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
