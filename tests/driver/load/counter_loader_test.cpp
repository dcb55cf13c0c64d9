#include "load/counter_loader.h"

#include "driver/perfdata/perf_file_builder.h"
#include "driver/session/scratch_result.h"

#include <gtest/gtest.h>

#include <memory>

namespace samplefold::load {
namespace {

using perfdata::testing::AttrSpec;
using perfdata::testing::Bytes;
using Rows = std::vector<std::string>;

constexpr std::uint32_t g_none = 0xffffffff;
constexpr const char* g_rows = "SELECT event, pid, tid, process, thread, cpu, start_tsc, end_tsc, "
                               "count FROM samples ORDER BY interval";

class CounterLoaderTest : public session::testing::ScratchResultTest {
protected:
    CounterLoaderTest()
    {
        faults.config = 2;
        faults.periodOrFreq = 0;
        faults.flags = perfdata::attrBit::ExcludeGuest;
        faults.ids = {70};
    }
    void threads(std::initializer_list<std::pair<std::int64_t, std::string_view>> entries)
    {
        Bytes body;
        body.u64(entries.size());
        for (const auto& [tid, name] : entries)
            body.put(tid).chars(name).zeros(16 - name.size());
        file.add(73, body);
    }
    void cpus(std::initializer_list<std::uint16_t> numbers)
    {
        Bytes body;
        body.u16(0).u16(static_cast<std::uint16_t>(numbers.size()));
        for (const std::uint16_t number : numbers)
            body.u16(number);
        file.add(74, body);
    }
    void stat(std::uint32_t cpu, std::uint32_t thread, std::uint64_t value, std::uint64_t time,
              std::uint64_t id = 70)
    {
        file.add(76, Bytes().u64(id).u32(cpu).u32(thread).words({value, time, time}));
    }
    void round(std::uint64_t time) { file.add(77, Bytes().words({0, time})); }

    /// Loads what was told so far into a result with that last tick; gives the rows.
    Rows load(std::uint64_t lastTick = 0)
    {
        file.event(faults);
        const Bytes bytes = file.file();
        const auto recording = perfdata::Recording::fromBytes(bytes.span(), "test");
        session::ProcessTable processes;
        session::ProcessRows processRows(db());
        session::AttributeRows attributes(db(), recording);
        ProfileContext context(result(), {true, true, 1});
        CounterLoader loader(recording, {processes, processRows, attributes, quality}, context,
                             lastTick);
        loader.load({});
        context.finish(loader.range().second);
        loader.reportQuality(db());
        books = loader.books();
        return ask(g_rows);
    }

    perfdata::testing::PerfFileBuilder file;
    AttrSpec faults;
    session::QualityLog quality;
    CounterBooks books;
};

TEST_F(CounterLoaderTest, ACountOfAThreadBelongsToIt)
{
    threads({{42, "worker"}});
    cpus({0xffff});
    stat(g_none, 0, 5, 100);
    round(100);
    EXPECT_EQ(load(), Rows{"page-faults|42|42|worker|worker|-|2|101|5"});
    EXPECT_EQ(ask("SELECT counting FROM dd_event_type"), Rows{"1"});
}

TEST_F(CounterLoaderTest, ACountOfACpuBelongsToTheThreadThatStandsForIt)
{
    threads({{-1, ""}});
    cpus({0, 3});
    stat(0, 0, 5, 100);
    stat(3, 0, 6, 100);
    round(100);
    EXPECT_EQ(load(), (Rows{"page-faults|-1|0|[all processes]|[CPU 0]|0|2|101|5",
                            "page-faults|-1|3|[all processes]|[CPU 3]|3|2|101|6"}));
}

TEST_F(CounterLoaderTest, ACountOfAllThreadsOnNoCertainCpuBelongsToAllCpus)
{
    threads({{-1, ""}});
    stat(g_none, 0, 5, 100);
    round(100);
    EXPECT_EQ(load(), Rows{"page-faults|-1|-1|[all processes]|[all CPUs]|-|2|101|5"});
}

TEST_F(CounterLoaderTest, ACountOfAThreadOnACpuHasBoth)
{
    threads({{42, "worker"}});
    cpus({2});
    stat(2, 0, 5, 100);
    round(100);
    EXPECT_EQ(load(), Rows{"page-faults|42|42|worker|worker|2|2|101|5"});
}

TEST_F(CounterLoaderTest, APlaceInAMapOfAnyCpuIsNoCpu)
{
    threads({{42, "worker"}});
    cpus({0xffff});
    stat(0, 0, 5, 100);
    round(100);
    EXPECT_EQ(load(), Rows{"page-faults|42|42|worker|worker|-|2|101|5"});
}

TEST_F(CounterLoaderTest, ThreadsThatWereCountedTogetherStandAsProcessesOfTheirOwn)
{
    threads({{42, "main"}, {43, "helper"}});
    stat(g_none, 0, 5, 100);
    stat(g_none, 1, 6, 100);
    round(100);
    EXPECT_EQ(load(), (Rows{"page-faults|42|42|main|main|-|2|101|5",
                            "page-faults|43|43|helper|helper|-|2|101|6"}));
    EXPECT_EQ(quality.count("counted threads whose process the recording does not name"), 2U);
}

TEST_F(CounterLoaderTest, AThreadOfNoKnownProcessCountsOnceOnHoweverManyCpus)
{
    threads({{42, "main"}, {43, "helper"}});
    cpus({0, 1});
    for (const std::uint32_t cpu : {0U, 1U}) {
        stat(cpu, 0, 5, 100);
        stat(cpu, 1, 6, 100);
    }
    round(100);
    EXPECT_EQ(load().size(), 4U);
    EXPECT_EQ(quality.count("counted threads whose process the recording does not name"), 2U);
}

TEST_F(CounterLoaderTest, ARunGoesOnFromTheLastTickOfTheResult)
{
    threads({{42, "worker"}});
    stat(g_none, 0, 5, 100);
    round(100);
    EXPECT_EQ(load(7000), Rows{"page-faults|42|42|worker|worker|-|7001|7100|5"});
}

TEST_F(CounterLoaderTest, ValuesOfUnknownEventsAndThreadsAreCountedDrops)
{
    threads({{42, "worker"}});
    stat(g_none, 0, 5, 100, 71);
    stat(g_none, 1, 5, 100);
    stat(g_none, 0, 5, 100);
    round(100);
    EXPECT_EQ(load().size(), 1U);
    EXPECT_EQ(quality.count("counter values of unknown events"), 1U);
    EXPECT_EQ(quality.count("counter values of unknown threads"), 1U);
    EXPECT_EQ(books.values, 3U);
    EXPECT_EQ(books.rows, 1U);
    EXPECT_EQ(books.dropped, 2U);
}

TEST_F(CounterLoaderTest, ValuesThatCannotBeReadAreDrops)
{
    threads({{42, "worker"}});
    file.add(76, Bytes().u64(70).u64(0).u64(1));
    stat(g_none, 0, 5, 100);
    round(100);
    EXPECT_EQ(load().size(), 1U);
    EXPECT_EQ(books.values, 2U);
    EXPECT_EQ(books.dropped, 1U);
}

TEST_F(CounterLoaderTest, MoreRoundsThanABatchHoldsGiveOneUnbrokenLine)
{
    constexpr std::uint64_t rounds = ProfileContext::batchSize + 1000;
    threads({{42, "worker"}});
    for (std::uint64_t number = 1; number <= rounds; ++number) {
        stat(g_none, 0, number * 3, number * 100);
        round(number * 100);
    }
    EXPECT_EQ(load().size(), rounds);
    EXPECT_EQ(ask("SELECT count(*), sum(count), min(start_tsc), max(end_tsc), "
                  "sum(end_tsc - start_tsc + 1) FROM sample_instance"),
              Rows{std::to_string(rounds) + "|" + std::to_string(rounds * 3) + "|2|" +
                   std::to_string(rounds * 100 + 1) + "|" + std::to_string(rounds * 100)});
}

TEST_F(CounterLoaderTest, ASecondLoadUsesTheSameRowsOfThreadsAndEvents)
{
    threads({{-1, ""}});
    stat(0, 0, 5, 100);
    round(100);
    load();
    reopen();
    file = {};
    threads({{-1, ""}});
    stat(0, 0, 7, 100);
    round(100);
    EXPECT_EQ(load().size(), 2U);
    EXPECT_EQ(ask("SELECT count(*) FROM dd_thread"), Rows{"1"});
    EXPECT_EQ(ask("SELECT count(*) FROM dd_event_type"), Rows{"1"});
    EXPECT_EQ(ask("SELECT count(*) FROM dd_sample"), Rows{"1"});
}

TEST_F(CounterLoaderTest, ARecordingWithoutCounterValuesGivesNothing)
{
    threads({{42, "worker"}});
    round(100);
    EXPECT_EQ(load(), Rows{});
    EXPECT_EQ(books.values, 0U);
}

} // namespace
} // namespace samplefold::load
