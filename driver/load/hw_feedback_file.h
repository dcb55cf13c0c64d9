#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace samplefold::load {

/// One report of a CPU: the class that it gave to the thread on it.
struct HwFeedbackReport {
    std::uint64_t tick = 0;
    std::uint64_t classWord = 0; ///< bit 63: the class is valid; it is the low 8 bits
    std::uint32_t cpu = 0;
    std::int32_t thread = 0; ///< thread id up to 4194304, 0 for the idle task
    std::int32_t value = 0;

    bool operator==(const HwFeedbackReport&) const = default;
};

/// What a file of reports holds.
struct HwFeedbackFile {
    /// By rising tick, those of one tick in the order of the file.
    std::vector<HwFeedbackReport> reports;
    std::uint64_t badLines = 0;     ///< lines that are no report; they are left out
    std::uint64_t firstBadLine = 0; ///< its number, from 1
    std::string problem;            ///< what is wrong with it
};

/// Reads the text of such a file: a line "TICK CPU THREAD CLASS VALUE" per report, with blanks or
/// tabs between; what stands behind # is a comment. Never throws but for want of memory.
HwFeedbackFile parseHwFeedback(std::string_view text);

/// The same of a regular file of up to 256 MiB. Throws LoadError when it cannot be read.
HwFeedbackFile readHwFeedback(const std::string& path);

/// One line that names the file and its first bad line; empty when there is none.
std::string hwFeedbackFault(const std::string& path, const HwFeedbackFile& file);

} // namespace samplefold::load
