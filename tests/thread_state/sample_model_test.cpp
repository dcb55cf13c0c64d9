#include "support/context_fixture.h"
#include "thread_state/sample_model.h"

#include <random>

namespace samplefold_test {
namespace {

struct setup_t {
    bool storeEachSample;
    bool linkCallsiteParents;
    std::int64_t extension; ///< of the first interval, 0 for none
};

constexpr int g_modelKinds = 40;
constexpr int g_slots = 4;
constexpr int g_threads = 3;

/// Plays random samples to the library and to the model at once, and compares all rows.
class SampleModel : public ContextTest,
                    public testing::WithParamInterface<std::tuple<setup_t, unsigned>> {
protected:
    const setup_t& setup() const { return std::get<0>(GetParam()); }
    int random(int below) { return static_cast<int>(m_random() % static_cast<unsigned>(below)); }

    void start()
    {
        context.m_storeEachSample = setup().storeEachSample;
        context.m_linkCallsiteParents = setup().linkCallsiteParents;
        context.emptying = true;
        if (setup().extension != 0) {
            context.m_firstIntervalTag = "on";
            context.m_firstIntervalFactorA = static_cast<double>(setup().extension) * 2 + 0.5;
            context.m_firstIntervalFactorB = 0.5;
        }
        open();
        for (std::int32_t i = 0; i < g_threads; ++i) {
            threads.push_back(std::make_unique<ThreadInfo>(&context, Index(i), g_slots,
                                                           setup().storeEachSample, Index(i)));
            context.threads.push_back(threads.back().get());
        }
        model.assign(g_threads, std::vector(g_slots, ModelSlot(setup().extension)));
    }

    pmu_sample_attribute_t* addKind(int kind)
    {
        pmu_sample_attribute_t attr = setup().linkCallsiteParents
                                          ? attribute(kind, kind * 100)
                                          : located(kind, kind % 3 - 1, rvaOf(kind));
        attr.cpu = Index(kind % 5);
        return add(attr);
    }
    /// Kinds share locations in pairs.
    static std::uint64_t rvaOf(int kind) { return static_cast<std::uint64_t>(kind / 2) * 1000; }

    std::int64_t nextTick(std::int64_t now)
    {
        switch (random(12)) {
        case 0:
            return now;
        case 1:
            return std::max<std::int64_t>(0, now - random(50));
        case 2:
            return random(static_cast<int>(now) + 1);
        case 3:
            return 0;
        case 4:
            return now + 5000 + random(5000);
        default:
            return now + random(300);
        }
    }

    void momentSample(std::int64_t tick)
    {
        const int thread = random(g_threads);
        const int slot = random(g_slots);
        const int kind = random(g_modelKinds);
        const std::int64_t value = random(1000) - 100;
        const std::int64_t gate = random(3) - 1;
        const std::int64_t scale = random(4) + 2;
        const bool apply = random(2) == 0;
        threads[static_cast<std::size_t>(thread)]->addSample(static_cast<std::uint64_t>(tick),
                                                             addKind(kind), value, gate, scale,
                                                             apply, slot, g_slots);
        ModelSlot& history =
            model[static_cast<std::size_t>(thread)][static_cast<std::size_t>(slot)];
        const std::int64_t count = gate == 1 && apply ? value * scale : value;
        if (const auto closed = history.add({tick, count, kind})) {
            closedSamples.push_back({thread, &history, *closed, {}});
        }
    }

    void explicitInterval(std::int64_t tick)
    {
        const int thread = random(g_threads);
        const std::int64_t before = random(3) == 0 ? 0 : tick / 2;
        std::vector<pmu_sample_attribute_t*> attrs;
        std::vector<std::int64_t> values;
        const auto skipped = static_cast<std::size_t>(random(5));
        for (std::size_t i = 0; i < 4; ++i) {
            const int kind = random(g_modelKinds);
            attrs.push_back(addKind(kind));
            values.push_back(random(50));
            if (i == skipped) continue;
            const model_row_t row{before == 0 ? tick : before + 1, tick, values[i], 0.0, kind, {}};
            closedSamples.push_back({thread, nullptr, 0, row});
        }
        threads[static_cast<std::size_t>(thread)]->addSample(static_cast<std::uint64_t>(before),
                                                             static_cast<std::uint64_t>(tick),
                                                             attrs, values, skipped);
    }

    void flush()
    {
        passAndFlush();
        std::optional<int> follower;
        for (const closed_t& one : closedSamples) {
            model_row_t row = one.slot ? one.slot->closedRow(one.number) : *one.row;
            if (!row.nextKind) row.nextKind = follower; // carried over in the record used again
            follower = row.nextKind;
            expect(one.thread, row);
        }
        closedSamples.clear();
    }

    void expect(int thread, const model_row_t& row)
    {
        if (setup().storeEachSample) {
            expectedRows.emplace_back(thread, row);
        } else {
            expectedSums[{thread, row.kind}] += row.count;
        }
    }

    void finish()
    {
        for (int i = 0; i < g_threads; ++i) {
            const auto at = static_cast<std::size_t>(i);
            for (const ModelSlot& slot : model[at]) {
                if (const auto row = slot.openRow()) expect(i, *row);
            }
            threads[at]->finish(1000000 * (at + 1));
        }
    }

    /// The kind of a dd_sample row, told by what the tables hold.
    int kindOf(std::int32_t sampleRow)
    {
        const FakeTable& table = db->table("dd_sample");
        const int kind = table.at(sampleRow, 0).as_s32();
        EXPECT_EQ(kind % 5, table.at(sampleRow, 1).as_s32());
        expectCallsite(table.at(sampleRow, 4).as_s32(), kind);
        return kind;
    }
    void expectCallsite(std::int32_t callsite, int kind)
    {
        if (setup().linkCallsiteParents) {
            EXPECT_EQ(kind * 100, callsite);
            return;
        }
        const std::int32_t location = db->table("dd_callsite").at(callsite, 1).as_s32();
        EXPECT_EQ(rvaOf(kind), db->table("dd_code_location").at(location, 0).integer_bits());
        const tb2::variant_t segment = db->table("dd_code_location").at(location, 1);
        EXPECT_EQ(kind % 3 - 1, rowvault1::utils::variantToIndex(segment).value());
    }

    void compareRows()
    {
        ASSERT_EQ(expectedRows.size(), container->rows.size());
        for (std::size_t i = 0; i < expectedRows.size(); ++i) {
            const auto& [thread, expected] = expectedRows[i];
            const rowvault1::instance_row_t& row = container->rows[i];
            ASSERT_EQ(static_cast<std::uint64_t>(expected.end), row.timestamp) << "row " << i;
            ASSERT_EQ(static_cast<std::uint64_t>(expected.start), row.integers[2]) << "row " << i;
            ASSERT_EQ(static_cast<std::uint64_t>(expected.count), row.integers[1]) << "row " << i;
            ASSERT_EQ(0u, row.integers[0]);
            ASSERT_EQ(expected.rate, row.doubles[0]) << "row " << i;
            ASSERT_EQ(expected.kind, kindOf(*row.keys[0])) << "row " << i;
            expectCallsite(*row.keys[1], expected.kind);
            ASSERT_EQ(expected.kind, row.keys[2]);
            ASSERT_EQ(expected.kind % 5, row.keys[3]);
            ASSERT_EQ(thread, row.keys[4]);
            ASSERT_EQ(expected.nextKind, row.keys[5]) << "row " << i;
            ASSERT_EQ(expected.nextKind.has_value(), row.keys[6].has_value());
            if (expected.nextKind) expectCallsite(*row.keys[6], *expected.nextKind);
        }
    }

    void compareSums()
    {
        ASSERT_EQ(expectedSums.size(), container->rows.size());
        std::map<int, std::pair<std::uint64_t, std::int32_t>> last; // tick and row by thread
        for (const rowvault1::instance_row_t& row : container->rows) {
            const int thread = *row.keys[4];
            const int kind = kindOf(*row.keys[0]);
            const auto sum = expectedSums.find({thread, kind});
            ASSERT_NE(expectedSums.end(), sum);
            ASSERT_EQ(static_cast<std::uint64_t>(sum->second), row.integers[1]);
            ASSERT_EQ(kind, row.keys[2]);
            ASSERT_EQ(kind % 5, row.keys[3]);
            expectCallsite(*row.keys[1], kind);
            const auto before = last.find(thread);
            const std::uint64_t first = 1000000 * (static_cast<std::uint64_t>(thread) + 1);
            ASSERT_EQ(before == last.end() ? first : before->second.first + 1, row.timestamp);
            if (before != last.end()) {
                ASSERT_LT(before->second.second, *row.keys[0]);
            }
            last[thread] = {row.timestamp, *row.keys[0]};
        }
    }

    struct closed_t {
        int thread;
        const ModelSlot* slot; ///< null for an explicit interval, whose row stands here
        std::size_t number;
        std::optional<model_row_t> row;
    };

    std::vector<std::unique_ptr<ThreadInfo>> threads;
    std::vector<std::vector<ModelSlot>> model;
    std::vector<closed_t> closedSamples;
    std::vector<std::pair<int, model_row_t>> expectedRows;
    std::map<std::pair<int, int>, std::int64_t> expectedSums;

private:
    std::mt19937 m_random{std::get<1>(GetParam())};
};

TEST_P(SampleModel, TheRowsOfRandomSamplesEqualTheModels)
{
    start();
    std::int64_t now = 100;
    for (int step = 0; step < 1500; ++step) {
        const std::int64_t tick = nextTick(now);
        now = std::max(now, tick);
        if (random(20) == 0) {
            explicitInterval(tick);
        } else {
            momentSample(tick);
        }
        if (random(150) == 0) flush();
    }
    flush();
    finish();
    setup().storeEachSample ? compareRows() : compareSums();
    EXPECT_LE(2, context.repackings);
}

INSTANTIATE_TEST_SUITE_P(
    Random, SampleModel,
    testing::Combine(testing::Values(setup_t{true, true, 0}, setup_t{true, true, 150},
                                     setup_t{true, false, 0}, setup_t{false, true, 0},
                                     setup_t{false, false, 70}),
                     testing::Range(1u, 9u)));

} // namespace
} // namespace samplefold_test
