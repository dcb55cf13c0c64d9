#include <samplefold_1/seg_inst_map.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <limits>
#include <random>
#include <vector>

// Segment lookup by address and time, with 10,000 segment instances in an address space. The floor
// is what one would write by hand: an array of the address ranges, sorted, with the instances of
// each range sorted by load time. It serves ranges that are equal or disjoint only; the tree takes
// any. "of_floor" is the time of a lookup divided by the floor's on the same queries in the same
// run.
namespace {

using samplefold_1::SegInstInfo;
using samplefold_1::SegInstMap;

constexpr std::uint64_t g_segmentSize = 0x10000;
constexpr std::uint64_t g_lifetime = 1000; ///< ticks between a load and the next one in that place

struct query_t {
    std::uint64_t point;
    std::uint64_t time;
};

/// `ranges` address ranges, each loaded `generations` times. An instance stays valid for 3
/// lifetimes, so that it overlaps its successors in time; a gap lies between two ranges.
std::vector<SegInstInfo> makeSegments(std::uint64_t ranges, std::uint64_t generations)
{
    std::vector<SegInstInfo> out;
    for (std::uint64_t range = 0; range < ranges; ++range) {
        for (std::uint64_t generation = 0; generation < generations; ++generation) {
            SegInstInfo& segment = out.emplace_back();
            segment.lowAddress = range * 2 * g_segmentSize;
            segment.highAddress = segment.lowAddress + g_segmentSize - 1;
            segment.loadTime = generation * g_lifetime;
            segment.unloadTime = segment.loadTime + 3 * g_lifetime;
            segment.modulePath = "/usr/lib/x86_64-linux-gnu/libexample.so.1";
        }
    }
    std::shuffle(out.begin(), out.end(), std::mt19937_64(1));
    return out;
}

/// Points and times all over the map; about half of the points lie in a gap or outside every
/// lifetime.
std::vector<query_t> makeQueries(std::uint64_t ranges, std::uint64_t generations)
{
    std::mt19937_64 random(2);
    std::uniform_int_distribution<std::uint64_t> point(0, ranges * 2 * g_segmentSize);
    std::uniform_int_distribution<std::uint64_t> time(0, (generations + 2) * g_lifetime);
    std::vector<query_t> out(1U << 16);
    for (query_t& query : out)
        query = {point(random), time(random)};
    return out;
}

/// The floor.
class SortedRanges {
public:
    explicit SortedRanges(const std::vector<SegInstInfo>& segments)
    {
        std::vector<const SegInstInfo*> order;
        for (const SegInstInfo& segment : segments)
            order.push_back(&segment);
        std::sort(order.begin(), order.end(), [](const auto* a, const auto* b) {
            return a->low() != b->low() ? a->low() < b->low() : a->loadTime < b->loadTime;
        });
        for (const SegInstInfo* segment : order) {
            if (m_ranges.empty() || m_ranges.back().low != segment->low())
                m_ranges.push_back({segment->low(), segment->high(), {}});
            m_ranges.back().byLoad.push_back(segment);
        }
    }

    const SegInstInfo* find(std::uint64_t point, std::uint64_t time) const
    {
        auto range = std::upper_bound(m_ranges.begin(), m_ranges.end(), point,
                                      [](std::uint64_t p, const range_t& r) { return p < r.low; });
        if (range == m_ranges.begin() || point > (--range)->high) return nullptr;
        auto next =
            std::upper_bound(range->byLoad.begin(), range->byLoad.end(), time,
                             [](std::uint64_t t, const SegInstInfo* s) { return t < s->loadTime; });
        while (next != range->byLoad.begin())
            if (const SegInstInfo* const segment = *--next; time < segment->unloadTime)
                return segment;
        return nullptr;
    }

private:
    struct range_t {
        std::uint64_t low;
        std::uint64_t high;
        std::vector<const SegInstInfo*> byLoad;
    };
    std::vector<range_t> m_ranges;
};

bool answersAgree(SegInstMap& map, const SortedRanges& floor, const std::vector<query_t>& queries)
{
    return std::all_of(queries.begin(), queries.end(), [&](const query_t& query) {
        return map.findSegInst(query.point, query.time) == floor.find(query.point, query.time);
    });
}

/// Nanoseconds of processor time of one lookup, the best of several rounds over all queries.
template <class Lookup>
double nanosecondsPerLookup(const std::vector<query_t>& queries, Lookup lookup)
{
    std::clock_t best = std::numeric_limits<std::clock_t>::max();
    for (int round = 0; round < 15; ++round) {
        const std::clock_t start = std::clock();
        for (const query_t& query : queries)
            benchmark::DoNotOptimize(lookup(query));
        best = std::min(best, std::clock() - start);
    }
    return 1e9 * static_cast<double>(best) / CLOCKS_PER_SEC / static_cast<double>(queries.size());
}

void reportRatio(benchmark::State& state, SegInstMap& map, const SortedRanges& floor,
                 const std::vector<query_t>& queries)
{
    const double tree = nanosecondsPerLookup(
        queries, [&](const query_t& query) { return map.findSegInst(query.point, query.time); });
    const double array = nanosecondsPerLookup(
        queries, [&](const query_t& query) { return floor.find(query.point, query.time); });
    state.counters["tree_ns"] = tree;
    state.counters["floor_ns"] = array;
    state.counters["of_floor"] = tree / array;
}

void findSegInst(benchmark::State& state)
{
    const auto ranges = static_cast<std::uint64_t>(state.range(0));
    const auto generations = static_cast<std::uint64_t>(state.range(1));
    SegInstMap map;
    map.values = makeSegments(ranges, generations);
    const SortedRanges floor(map.values);
    const auto queries = makeQueries(ranges, generations);
    if (!answersAgree(map, floor, queries)) {
        state.SkipWithError("the tree and the sorted array give different answers");
        return;
    }
    std::size_t next = 0;
    for (auto _ : state) {
        const query_t& query = queries[next++ % queries.size()];
        benchmark::DoNotOptimize(map.findSegInst(query.point, query.time));
    }
    reportRatio(state, map, floor, queries);
}

/// The first query, which builds the tree.
void buildSegInstMap(benchmark::State& state)
{
    const auto segments = makeSegments(static_cast<std::uint64_t>(state.range(0)),
                                       static_cast<std::uint64_t>(state.range(1)));
    for (auto _ : state) {
        state.PauseTiming();
        SegInstMap map;
        map.values = segments;
        state.ResumeTiming();
        benchmark::DoNotOptimize(map.findSegInst(0, 0));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(segments.size()));
}

// 10,000 instances: never the same range twice; libraries loaded again and again; heavily
// overlapping.
void workloads(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgNames({"ranges", "loads"})->Args({10000, 1})->Args({1000, 10})->Args({100, 100});
}

BENCHMARK(findSegInst)->Apply(workloads);
BENCHMARK(buildSegInstMap)->Apply(workloads)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
