#include "support/context_fixture.h"
#include "support/scoped_environment.h"

namespace samplefold_test {
namespace {

class FlushBands : public ContextTest {
protected:
    FlushBands() { context.m_loadInstanceDataToSqlite = true; }
};

TEST_F(FlushBands, ABandGoesBeforeItsRowWithRateAndFollower)
{
    context.m_rateBandField = 0;
    context.m_nextAttrBandField = 2;
    open();
    ThreadInfo thread(&context, Index(100), 1, true, Index(200));
    sample(thread, 1000, add(attribute(1, 1)), 5);
    sample(thread, 1400, add(attribute(2, 2)), 8);
    passAndFlush();
    lines_t calls = log->take();
    std::erase_if(calls, [](const std::string& line) {
        return !line.starts_with("band") && !line.starts_with("row");
    });
    ASSERT_EQ(13u, calls.size());
    EXPECT_EQ("band.add 600 1000", calls[0]);
    EXPECT_EQ("row.insert 1000", calls[12]);
    ASSERT_EQ(1u, bandTable->bands.size());
    const band_call_t& call = bandTable->bands[0];
    EXPECT_EQ(Index(100), call.key.owner);
    EXPECT_EQ("dd_sample", call.key.attributeTable);
    ASSERT_EQ(1u, call.band.data.size());
    EXPECT_EQ(0u, call.band.data[0].reserved);
    EXPECT_EQ(5u, call.band.data[0].count);
    EXPECT_EQ(Index(1), call.band.data[0].attribute);
    ASSERT_TRUE(call.custom);
    ASSERT_EQ(3u, call.custom->size());
    EXPECT_EQ("real:0.020000", show((*call.custom)[0]));
    EXPECT_EQ("null", show((*call.custom)[1]));
    EXPECT_EQ("s32:2", show((*call.custom)[2]));
}

TEST_F(FlushBands, ABandWithoutAFollowerHasNullsEvenAfterOneThatHadValues)
{
    context.m_rateBandField = 0;
    context.m_nextAttrBandField = 1;
    open();
    ThreadInfo thread(&context, Index(100), 1, true, Index(200));
    sample(thread, 1000, add(attribute(1, 1)), 5);
    sample(thread, 1400, add(attribute(2, 2)), 8);
    std::vector<pmu_sample_attribute_t*> attrs{add(attribute(3, 3))};
    std::vector<std::int64_t> values{-1};
    thread.addSample(10, 20, attrs, values, 5);
    passAndFlush();
    ASSERT_EQ(2u, bandTable->bands.size());
    EXPECT_EQ("real:0.020000", show((*bandTable->bands[0].custom)[0]));
    EXPECT_EQ("null", show((*bandTable->bands[1].custom)[0]));
    EXPECT_EQ("null", show((*bandTable->bands[1].custom)[1]));
    EXPECT_EQ(0xFFFFFFFFFFFFFFFF, bandTable->bands[1].band.data[0].count);
}

TEST_F(FlushBands, WithBothFieldsUnsetThereAre65536EntriesAndTheFollowerOverwritesTheRate)
{
    const ScopedEnvironment on(loadToSqlite, "1");
    open();
    ThreadInfo thread(&context, Index(100), 1, true, Index(200));
    sample(thread, 1000, add(attribute(1, 1)), 5);
    sample(thread, 1400, add(attribute(2, 2)), 8);
    passAndFlush();
    thread.finish(1);
    ASSERT_EQ(2u, bandTable->bands.size());
    for (const band_call_t& call : bandTable->bands) {
        ASSERT_EQ(65536u, call.custom->size());
        EXPECT_EQ("s32:2", show((*call.custom)[65535]));
        EXPECT_EQ("null", show((*call.custom)[0]));
    }
}

TEST_F(FlushBands, ARefusedBandFiresNothingAndItsRowIsWritten)
{
    const ScopedEnvironment on(loadToSqlite, "1");
    bandTable->refusing = true;
    context.m_rateBandField = 0;
    context.m_nextAttrBandField = 1;
    open();
    ThreadInfo thread(&context, Index(100), 1, true, Index(200));
    sample(thread, 1000, add(attribute(1, 1)), 5);
    sample(thread, 1400, add(attribute(2, 2)), 8);
    passAndFlush();
    thread.finish(1);
    EXPECT_EQ(lines_t{}, assertions.take());
    EXPECT_EQ(2u, bandTable->bands.size());
    EXPECT_EQ(2u, container->rows.size());
}

TEST_F(FlushBands, WithTheVariableOffNoBandIsAdded)
{
    context.m_loadInstanceDataToSqlite = false;
    open();
    ThreadInfo thread(&context, Index(100), 1, true, Index(200));
    sample(thread, 1000, add(attribute(1, 1)), 5);
    sample(thread, 1400, add(attribute(2, 2)), 8);
    passAndFlush();
    EXPECT_EQ(1u, container->rows.size());
    EXPECT_TRUE(bandTable->bands.empty());
}

TEST_F(FlushBands, WithTheVariableSetTheBandsEqualTheInstanceRows)
{
    const ScopedEnvironment on(loadToSqlite, "1");
    context.m_rateBandField = 0;
    context.m_nextAttrBandField = 1;
    context.emptying = true;
    open();
    ThreadInfo thread(&context, Index(100), 2, true, Index(200));
    context.threads = {&thread};
    for (int i = 0; i < 200; ++i) {
        const auto tsc = static_cast<std::uint64_t>(1000 + i * 37 % 1500);
        sample(thread, tsc, add(attribute(i % 7, i % 5)), i, i % 2);
        if (i % 60 == 59) passAndFlush();
    }
    passAndFlush();
    thread.finish(1);
    ASSERT_EQ(200u, container->rows.size());
    ASSERT_EQ(container->rows.size(), bandTable->bands.size());
    for (std::size_t i = 0; i < container->rows.size(); ++i) {
        const rowvault1::instance_row_t& row = container->rows[i];
        const band_call_t& call = bandTable->bands[i];
        ASSERT_EQ(row.integers[2], call.band.start);
        ASSERT_EQ(row.timestamp, call.band.end);
        ASSERT_EQ(row.integers[1], call.band.data[0].count);
        ASSERT_EQ(row.keys[0], call.band.data[0].attribute.value());
        ASSERT_EQ(row.doubles[0], (*call.custom)[0].as_double());
    }
}

} // namespace
} // namespace samplefold_test
