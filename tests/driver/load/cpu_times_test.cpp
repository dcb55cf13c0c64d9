#include "load/cpu_times.h"

#include "driver/session/scratch_result.h"
#include "driver/session/side_band_records.h"
#include "session/side_band_collector.h"

#include <gtest/gtest.h>

#include <memory>

namespace samplefold::load {
namespace {

using Rows = std::vector<std::string>;

constexpr const char* g_begunBefore =
    "threads that were on a CPU before the first switch that tells of them";
constexpr const char* g_unpaired = "context switches without their counterpart";

class CpuTimesTest : public session::testing::ScratchResultTest,
                     protected session::testing::SideBandRecords {
protected:
    /// The task of a switch, and its CPU where that is known.
    struct Task {
        std::uint32_t pid;
        std::uint32_t tid;
        std::uint32_t cpu = 0;
    };

    CpuTimesTest() { setCpus(true); }

    void setCpus(bool withCpus)
    {
        m_withCpus = withCpus;
        if (withCpus) event().sampleType |= perfdata::sampleBit::Cpu;
        if (!withCpus) event().sampleType &= ~perfdata::sampleBit::Cpu;
    }
    void in(std::uint64_t time, const Task& task) { put(time, task, 0); }
    void out(std::uint64_t time, const Task& task) { put(time, task, 1U << 13); }
    void start(std::uint64_t time, std::uint32_t pid, std::uint32_t tid)
    {
        taskRecord(7, time, {pid, pid == tid ? 1 : pid, tid, pid == tid ? 1 : pid});
    }
    void exit(std::uint64_t time, std::uint32_t pid, std::uint32_t tid)
    {
        taskRecord(4, time, {pid, pid, tid, tid});
    }

    /// Spans "pid tid cpu from to" of the recording, in the order of time.
    Rows spans()
    {
        const Bytes bytes = file().event(event()).file();
        const auto recording = perfdata::Recording::fromBytes(bytes.span(), "test");
        EXPECT_FALSE(recording.fault());
        session::ProcessTable processes;
        session::ModuleCatalog modules;
        session::SideBandCollector(recording, processes, modules, quality).collect({});
        session::ProcessRows rows(db());
        rows.store(processes);
        CpuTimes times(db(), processes, rows, recording);
        struct Sink : perfdata::RecordSink {
            explicit Sink(CpuTimes& target) : times(target) {}
            void onSwitch(const perfdata::SwitchRecord& record) override { times.onSwitch(record); }
            CpuTimes& times;
        } sink(times);
        recording.deliver(sink);
        times.finish(quality);
        return ask("SELECT p.pid || ' ' || t.tid || ' ' || r.bucket || ' ' || r.start_tsc || ' ' "
                   "|| r.end_tsc FROM cpu_running_data_t r JOIN dd_thread t ON t.id = r.thread "
                   "JOIN dd_process p ON p.id = t.process ORDER BY r.start_tsc, t.tid");
    }

    session::QualityLog quality;

private:
    void trailer(Bytes& body, const Task& task, std::uint64_t time)
    {
        body.u32(task.pid).u32(task.tid);
        if ((event().sampleType & perfdata::sampleBit::Time) != 0) body.u64(time);
        if (m_withCpus) body.u32(task.cpu).u32(0);
    }
    void put(std::uint64_t time, const Task& task, std::uint16_t misc)
    {
        Bytes body;
        body.u32(0).u32(0); // the other task, which is idle
        trailer(body, task, time);
        file().add(15, body, misc);
    }
    void taskRecord(std::uint32_t type, std::uint64_t time,
                    std::initializer_list<std::uint32_t> words)
    {
        Bytes body;
        for (const std::uint32_t word : words)
            body.u32(word);
        body.u64(time);
        trailer(body, {1, 1}, time);
        file().add(type, body);
    }

    bool m_withCpus = true;
};

TEST_F(CpuTimesTest, ASpanReachesFromTheSwitchInToTheSwitchOut)
{
    in(100, {5, 5, 2});
    in(110, {5, 6, 3});
    out(120, {5, 6, 3});
    out(150, {5, 5, 2});
    in(160, {5, 5, 4});
    out(170, {5, 5, 4});
    EXPECT_EQ(spans(), (Rows{"5 5 2 100 150", "5 6 3 110 120", "5 5 4 160 170"}));
    EXPECT_EQ(quality.count(g_begunBefore), 0U);
    EXPECT_EQ(quality.count(g_unpaired), 0U);
}

TEST_F(CpuTimesTest, AThreadThatIsFirstSeenGoingOutWasThereSinceTheRecordingBegan)
{
    in(90, {4, 4, 1});
    out(95, {4, 4, 1});
    out(150, {5, 5, 2});
    EXPECT_EQ(spans(), (Rows{"4 4 1 90 95", "5 5 2 90 150"}));
    EXPECT_EQ(quality.count(g_begunBefore), 1U);
    EXPECT_EQ(quality.count(g_unpaired), 0U);
}

TEST_F(CpuTimesTest, AThreadThatBeganLaterWasThereSinceItBegan)
{
    in(90, {4, 4, 1});
    start(120, 5, 5);
    out(150, {5, 5, 2});
    out(160, {4, 4, 1});
    EXPECT_EQ(spans(), (Rows{"4 4 1 90 160", "5 5 2 120 150"}));
}

TEST_F(CpuTimesTest, AThreadNumberThatIsUsedAgainLosesNoSpan)
{
    in(90, {4, 4, 1});
    out(110, {4, 7, 2});
    exit(111, 4, 7);
    start(200, 4, 7);
    in(210, {4, 7, 3});
    out(220, {4, 7, 3});
    out(230, {4, 4, 1});
    EXPECT_EQ(spans(), (Rows{"4 4 1 90 230", "4 7 2 90 110", "4 7 3 210 220"}));
}

TEST_F(CpuTimesTest, AThreadThatNeverGoesOutStaysToTheEndOfTheRecording)
{
    in(100, {5, 5, 2});
    in(120, {6, 6, 3});
    out(300, {6, 6, 3});
    EXPECT_EQ(spans(), (Rows{"5 5 2 100 300", "6 6 3 120 300"}));
}

TEST_F(CpuTimesTest, AThreadThatExitsOnItsCpuStaysToItsEnd)
{
    in(100, {5, 5, 2});
    exit(180, 5, 5);
    in(190, {6, 6, 3});
    out(300, {6, 6, 3});
    EXPECT_EQ(spans(), (Rows{"5 5 2 100 180", "6 6 3 190 300"}));
}

TEST_F(CpuTimesTest, TheSwitchOutBehindAnExitEndsTheSpan)
{
    in(100, {5, 5, 2});
    exit(180, 5, 5);
    out(185, {5, 5, 2});
    EXPECT_EQ(spans(), (Rows{"5 5 2 100 185"}));
    EXPECT_EQ(quality.count(g_unpaired), 0U);
}

TEST_F(CpuTimesTest, IdleTasksAreLeftOut)
{
    in(100, {0, 0, 2});
    out(120, {0, 0, 2});
    in(120, {5, 5, 2});
    out(130, {5, 5, 2});
    EXPECT_EQ(spans(), (Rows{"5 5 2 120 130"}));
}

TEST_F(CpuTimesTest, SpansOnUnknownCpusAreInTheBucketMinusOne)
{
    setCpus(false);
    in(100, {5, 5});
    out(120, {5, 5});
    EXPECT_EQ(spans(), (Rows{"5 5 -1 100 120"}));
}

TEST_F(CpuTimesTest, SwitchesWithoutTheirCounterpartAreCountedAndMakeNoSpanUp)
{
    in(100, {5, 5, 2});
    in(150, {5, 5, 3}); // its switch out was lost
    out(160, {5, 5, 3});
    out(190, {5, 5, 4}); // its switch in was lost
    EXPECT_EQ(spans(), (Rows{"5 5 3 150 160"}));
    EXPECT_EQ(quality.count(g_unpaired), 2U);
}

TEST_F(CpuTimesTest, ARecordingWithoutTimesGivesNoSpans)
{
    setTimes(false);
    setCpus(true);
    in(100, {5, 5, 2});
    out(120, {5, 5, 2});
    EXPECT_EQ(spans(), Rows{});
}

TEST_F(CpuTimesTest, SpansBelongToTheLifeOfTheirTick)
{
    start(100, 5, 5);
    in(101, {5, 5, 2});
    out(110, {5, 5, 2});
    exit(111, 5, 5);
    start(200, 5, 5);
    in(201, {5, 5, 2});
    out(210, {5, 5, 2});
    EXPECT_EQ(spans(), (Rows{"5 5 2 101 110", "5 5 2 201 210"}));
    EXPECT_EQ(ask("SELECT p.life, r.start_tsc FROM cpu_running_data_t r JOIN dd_thread t "
                  "ON t.id = r.thread JOIN dd_process p ON p.id = t.process ORDER BY 2"),
              (Rows{"0|101", "1|201"}));
}

} // namespace
} // namespace samplefold::load
