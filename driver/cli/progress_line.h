#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace samplefold::cli {

/// A line on standard error that tells how far a long step is, where that is a terminal, and
/// nothing elsewhere. It is redrawn a few times a second at most and wiped at the end. One thread.
class ProgressLine {
public:
    ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    ~ProgressLine() { wipe(); }

    /// `total` is 0 when it is not known.
    void show(const std::string& step, std::uint64_t done, std::uint64_t total);
    void wipe();

private:
    bool m_terminal;
    bool m_shown = false;
    std::string m_step;
    std::chrono::steady_clock::time_point m_last;
};

} // namespace samplefold::cli
