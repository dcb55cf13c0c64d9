#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// A slow model of the bands that reports of hardware feedback become. It keeps every report for
// ever and looks back over all of them where the library keeps one open band per CPU.
namespace samplefold_test {

struct feedback_report_t {
    std::uint64_t classWord;
    std::int64_t tick;
    std::int32_t thread;
    std::uint64_t cpu;
    std::int32_t value;
};

/// What one stretch of reports of a CPU gives: rows always, a band when it is longer than a tick.
struct feedback_stretch_t {
    std::string className;
    std::int32_t value;
    struct band_t {
        std::int32_t thread;
        std::int64_t start;
        std::int64_t end;
        bool operator==(const band_t&) const = default;
    };
    std::optional<band_t> band;
    bool operator==(const feedback_stretch_t&) const = default;
};

/// The stretches in the order in which they end; those that the reports leave open end last, by
/// CPU. Ticks stay below 2^62.
std::vector<feedback_stretch_t> feedbackStretches(const std::vector<feedback_report_t>& reports);

} // namespace samplefold_test
