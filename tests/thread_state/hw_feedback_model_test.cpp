#include "thread_state/hw_feedback_fixture.h"
#include "thread_state/hw_feedback_model.h"

#include <algorithm>
#include <map>
#include <random>

// Random reports to the library and to the model.
namespace samplefold_test {
namespace {

struct load_t {
    int cpus;
    int threads;
    int classes;
    std::int64_t mostStep; ///< between two reports of all
    std::int64_t mostBack; ///< how far a report may go back behind the one before
};

class HwFeedbackModelTest : public HwFeedbackTest,
                            public testing::WithParamInterface<std::tuple<load_t, unsigned>> {
protected:
    std::int64_t random(std::int64_t from, std::int64_t to)
    {
        return std::uniform_int_distribution<std::int64_t>(from, to)(m_random);
    }

    std::vector<feedback_report_t> randomReports(const load_t& load)
    {
        std::vector<feedback_report_t> reports;
        std::int64_t now = 1000;
        for (int i = 0; i < 400; ++i) {
            now += random(0, load.mostStep);
            const std::uint64_t valid = random(0, 9) == 0 ? 0 : g_validClass;
            const auto classId = static_cast<std::uint64_t>(random(0, load.classes - 1));
            reports.push_back({valid | classId, now - random(0, load.mostBack),
                               static_cast<std::int32_t>(random(1, load.threads)),
                               static_cast<std::uint64_t>(random(0, load.cpus - 1)),
                               static_cast<std::int32_t>(random(-3, 3))});
        }
        return reports;
    }

    void play(const std::vector<feedback_report_t>& reports)
    {
        for (const feedback_report_t& report : reports) {
            context.loadHwFeedbackData(report.classWord, static_cast<std::uint64_t>(report.tick),
                                       report.thread, report.cpu, report.value);
        }
        context.finalizeHwFeedbackData();
    }

    /// What the store has got, by the rows of dd_hw_feedback.
    std::vector<feedback_stretch_t> stored()
    {
        std::vector<feedback_stretch_t> stretches;
        for (const auto& [key, row] : db->table("dd_hw_feedback").rows) {
            feedback_stretch_t stretch{className(Index(key)), 0, {}};
            stretch.value = static_cast<std::int32_t>(row.at(1).integer_bits());
            for (const auto& [owner, band, withCustom] : bands->calls) {
                if (band.attribute != Index(key)) continue;
                EXPECT_FALSE(stretch.band) << "one band for one row";
                stretch.band = {owner.owner.value(), static_cast<std::int64_t>(band.start),
                                static_cast<std::int64_t>(band.end)};
            }
            stretches.push_back(stretch);
        }
        return stretches;
    }

    std::mt19937_64 m_random{std::get<1>(GetParam())};
};

TEST_P(HwFeedbackModelTest, TheLibraryWritesWhatTheModelFinds)
{
    const auto reports = randomReports(std::get<0>(GetParam()));
    play(reports);
    const auto expected = feedbackStretches(reports);
    const auto written = stored();
    ASSERT_EQ(expected.size(), written.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(expected[i].className, written[i].className) << i;
        EXPECT_EQ(expected[i].value, written[i].value) << i;
        EXPECT_EQ(expected[i].band, written[i].band) << i;
    }
    EXPECT_TRUE(std::ranges::any_of(written, [](const auto& one) { return one.band.has_value(); }));
}

/// The first report of a CPU starts at its own tick, whatever the thread has told elsewhere: at
/// one tick for two CPUs that tick is in both bands. Ticks that all differ leave no such case.
TEST_P(HwFeedbackModelTest, BandsOfAThreadDoNotOverlapWhenReportsComeInTheOrderOfTheirTicks)
{
    auto reports = randomReports(std::get<0>(GetParam()));
    std::ranges::stable_sort(reports, {}, &feedback_report_t::tick);
    for (std::size_t i = 1; i < reports.size(); ++i)
        reports[i].tick = std::max(reports[i].tick, reports[i - 1].tick + 1);
    play(reports);
    std::map<std::int32_t, std::vector<rowvault1::single_band_obj_t>> byThread;
    for (const auto& [key, band, withCustom] : bands->calls)
        byThread[key.owner.value()].push_back(band);
    EXPECT_FALSE(byThread.empty());
    for (auto& [thread, own] : byThread) {
        std::ranges::sort(own, {}, &rowvault1::single_band_obj_t::start);
        for (std::size_t i = 1; i < own.size(); ++i)
            EXPECT_LT(own[i - 1].end, own[i].start) << "thread " << thread;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Reports, HwFeedbackModelTest,
    testing::Combine(testing::Values(load_t{1, 1, 2, 50, 0}, load_t{1, 3, 2, 20, 5},
                                     load_t{2, 2, 2, 30, 0}, load_t{4, 3, 3, 3, 0},
                                     load_t{4, 8, 2, 40, 60}, load_t{16, 5, 4, 10, 200}),
                     testing::Range(1u, 21u)));

} // namespace
} // namespace samplefold_test
