#include <samplefold_1/vm_aux_data.h>

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <vector>

namespace samplefold_test {
namespace {

using samplefold_1::PerfProcessInfo;
using samplefold_1::VmAuxData;

constexpr std::uint32_t g_pid = 42;
constexpr std::uint64_t g_untouched = 99;

struct span_t {
    std::uint64_t first;
    std::uint64_t last;
    friend bool operator==(const span_t&, const span_t&) = default;
};
using spans_t = std::vector<span_t>;

std::ostream& operator<<(std::ostream& out, const span_t& span)
{
    return out << "[" << span.first << "," << span.last << "]";
}

class ProcessState : public testing::Test {
protected:
    void set(const spans_t& spans, std::uint32_t pid = g_pid)
    {
        VmAuxData::accessor entry;
        data.insert(entry, pid);
        entry->second.clear();
        for (const span_t& span : spans) {
            PerfProcessInfo& record = *entry->second.grow_by(1);
            record.firstTsc = span.first;
            record.lastTsc = span.last;
        }
    }
    static spans_t spansIn(const VmAuxData::accessor& entry)
    {
        spans_t spans;
        for (const PerfProcessInfo& record : entry->second)
            spans.push_back({record.firstTsc, record.lastTsc});
        return spans;
    }

    VmAuxData data;
};

TEST_F(ProcessState, AnUnknownProcessGetsAnEmptyVectorAndNoRecordIsChosen)
{
    VmAuxData::accessor entry;
    std::uint64_t index = g_untouched;
    EXPECT_EQ(0, data.getProcessState(5, g_pid, index, entry));
    EXPECT_EQ(0u, index);
    ASSERT_FALSE(entry.empty());
    EXPECT_EQ(g_pid, entry->first);
    EXPECT_TRUE(entry->second.empty());
    EXPECT_EQ(1u, data.size());
}

TEST_F(ProcessState, EachRuleChoosesARecordAndWidensIt)
{
    struct case_t {
        const char* what;
        spans_t before;
        std::uint64_t tsc;
        std::uint64_t index;
        spans_t after;
    };
    const std::vector<case_t> cases{
        {"a record without ticks takes both ends", {{0, 0}}, 5, 0, {{5, 5}}},
        {"the tick 0 leaves it without ticks", {{0, 0}}, 0, 0, {{0, 0}}},
        {"the newest without ticks is taken first", {{1, 9}, {0, 0}}, 5, 1, {{1, 9}, {5, 5}}},
        {"a record without a start begins with the tick", {{0, 9}}, 5, 0, {{5, 9}}},
        {"a record without a start at its end", {{0, 9}}, 9, 0, {{0, 9}}},
        {"a record without a start behind its end", {{0, 9}}, 12, 0, {{0, 12}}},
        {"the tick 0 before a record without a start", {{0, 9}}, 0, 0, {{0, 9}}},
        {"the first tick changes nothing", {{5, 9}}, 5, 0, {{5, 9}}},
        {"the last tick changes nothing", {{5, 9}}, 9, 0, {{5, 9}}},
        {"a tick inside changes nothing", {{5, 9}}, 7, 0, {{5, 9}}},
        {"a later tick moves the end", {{5, 9}}, 10, 0, {{5, 10}}},
        {"an earlier tick moves the start of the only record", {{5, 9}}, 4, 0, {{4, 9}}},
        {"a record without an end gets one", {{5, 0}}, 7, 0, {{5, 7}}},
        {"a tick before a start without an end", {{5, 0}}, 3, 0, {{5, 3}}},
        {"a tick between an end and a later start", {{8, 2}}, 5, 0, {{8, 5}}},
        {"that record is chosen before an older one", {{1, 9}, {8, 2}}, 5, 1, {{1, 9}, {8, 5}}},
        {"the end of such a record is not before it", {{1, 9}, {8, 2}}, 2, 0, {{1, 9}, {8, 2}}},
        {"the newest that began is taken", {{1, 9}, {5, 6}}, 5, 1, {{1, 9}, {5, 6}}},
        {"between two records the older one grows", {{1, 3}, {7, 9}}, 5, 0, {{1, 5}, {7, 9}}},
        {"before all records the oldest one grows", {{4, 5}, {7, 9}}, 2, 0, {{2, 5}, {7, 9}}},
        {"behind all records the newest one grows", {{1, 3}, {7, 9}}, 12, 1, {{1, 3}, {7, 12}}},
        {"the tick 0 before all records", {{4, 5}}, 0, 0, {{0, 5}}},
        {"the greatest tick", {{4, 5}}, ~std::uint64_t{0}, 0, {{4, ~std::uint64_t{0}}}},
    };
    for (const case_t& one : cases) {
        set(one.before);
        VmAuxData::accessor entry;
        std::uint64_t index = g_untouched;
        EXPECT_EQ(1, data.getProcessState(one.tsc, g_pid, index, entry)) << one.what;
        EXPECT_EQ(one.index, index) << one.what;
        EXPECT_EQ(one.after, spansIn(entry)) << one.what;
    }
}

TEST_F(ProcessState, AnAccessorThatHoldsAProcessIsReleasedFirst)
{
    set({{1, 2}}, 1);
    set({{3, 4}}, 2);
    VmAuxData::accessor entry;
    std::uint64_t index = 0;
    // An accessor that still held the process would wait for itself.
    EXPECT_EQ(1, data.getProcessState(1, 1, index, entry));
    EXPECT_EQ(1, data.getProcessState(2, 1, index, entry));
    EXPECT_EQ(1u, entry->first);
    EXPECT_EQ(1, data.getProcessState(3, 2, index, entry));
    EXPECT_EQ(2u, entry->first);
    VmAuxData::accessor again;
    EXPECT_TRUE(data.find(again, 1)) << "the former process is free";
}

TEST_F(ProcessState, OnlyTheProcessAskedForChanges)
{
    set({{5, 9}}, 1);
    set({{5, 9}}, 2);
    VmAuxData::accessor entry;
    std::uint64_t index = 0;
    data.getProcessState(100, 2, index, entry);
    ASSERT_TRUE(data.find(entry, 1));
    EXPECT_EQ((spans_t{{5, 9}}), spansIn(entry));
}

/// The choice as a forward look at all records: the last one that may take the tick, where the
/// first one always may.
class LinearModel {
public:
    explicit LinearModel(spans_t spans) : m_spans(std::move(spans)) {}

    std::optional<std::size_t> take(std::uint64_t tsc)
    {
        std::optional<std::size_t> chosen;
        for (std::size_t i = 0; i < m_spans.size(); ++i) {
            if (i == 0 || mayTake(m_spans[i], tsc)) chosen = i;
        }
        if (chosen) widen(m_spans[*chosen], tsc);
        return chosen;
    }
    const spans_t& spans() const { return m_spans; }

private:
    /// It began by then, or had its end before.
    static bool mayTake(const span_t& span, std::uint64_t tsc)
    {
        return span.first <= tsc || span.last < tsc;
    }
    static void widen(span_t& span, std::uint64_t tsc)
    {
        const bool noTicks = span.first == 0 && span.last == 0;
        const bool noStart = span.first == 0 && tsc < span.last;
        const bool later = tsc > span.last;
        const bool earlier = tsc < span.first && !later;
        if (noTicks || noStart || earlier) span.first = tsc;
        if (noTicks || later) span.last = tsc;
    }

    spans_t m_spans;
};

TEST_F(ProcessState, RandomTicksOnRandomRecordsAgreeWithALookAtAllOfThem)
{
    std::mt19937_64 random(20260101);
    const auto below = [&](std::uint64_t limit) { return random() % limit; };
    std::vector<int> chosenBefore(6);
    for (int round = 0; round < 4000; ++round) {
        spans_t spans(below(6));
        for (span_t& span : spans)
            span = {below(3) == 0 ? 0 : below(30), below(3) == 0 ? 0 : below(30)};
        set(spans);
        LinearModel model(spans);
        VmAuxData::accessor entry;
        for (int step = 0; step < 20; ++step) {
            const std::uint64_t tsc = below(32);
            const auto expected = model.take(tsc);
            std::uint64_t index = g_untouched;
            ASSERT_EQ(expected ? 1 : 0, data.getProcessState(tsc, g_pid, index, entry));
            ASSERT_EQ(expected.value_or(0), index);
            ASSERT_EQ(model.spans(), spansIn(entry)) << "round " << round << ", tick " << tsc;
            if (expected) ++chosenBefore[*expected];
        }
    }
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_GT(chosenBefore[i], 100) << "records of every position are met";
}

} // namespace
} // namespace samplefold_test
