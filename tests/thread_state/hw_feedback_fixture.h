#pragma once

#include "support/context_fixture.h"
#include "support/fake_perf_database.h"

#include <string>

namespace samplefold_test {

constexpr std::uint64_t g_validClass = std::uint64_t{1} << 63;

/// A context over a fake store that keeps the bands.
class HwFeedbackTest : public ContextTest {
protected:
    HwFeedbackTest()
    {
        db->singleBands = bands;
        context.setDb(db);
        context.setResult(tb2::make_counted<FakePerfDatabase>(log));
        log->take();
    }

    /// A report with a class of which bit 63 says that it is valid.
    void report(std::uint64_t cpu, std::int32_t thread, std::uint64_t tsc, std::uint64_t classId,
                std::int32_t value = 0)
    {
        context.loadHwFeedbackData(g_validClass | classId, tsc, thread, cpu, value);
    }

    /// Class name of a row of dd_hw_feedback.
    std::string className(Index feedback)
    {
        const Index classKey(static_cast<std::int32_t>(
            db->table("dd_hw_feedback").at(feedback.value(), 0).integer_bits()));
        return std::string(
            db->table("dd_hw_feedback_coretier_class").at(classKey.value(), 0).as_text());
    }
    /// The bands so far as "thread start-end class".
    lines_t bandTexts()
    {
        lines_t lines;
        for (const auto& [key, band, withCustom] : bands->calls) {
            lines.push_back(std::to_string(key.owner.value()) + " " + std::to_string(band.start) +
                            "-" + std::to_string(band.end) + " " + className(band.attribute));
        }
        return lines;
    }
    /// Names of all class rows in their order, whether a band has them or not.
    lines_t classRows()
    {
        lines_t names;
        for (const auto& [key, row] : db->table("dd_hw_feedback_coretier_class").rows)
            names.emplace_back(row.at(0).as_text());
        return names;
    }

    tb2::sptr_t<FakeSingleBandTable> bands = tb2::make_counted<FakeSingleBandTable>();
};

} // namespace samplefold_test
