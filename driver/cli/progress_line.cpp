#include "cli/progress_line.h"

#include <unistd.h>

#include <cstdio>

namespace samplefold::cli {
namespace {

constexpr auto g_interval = std::chrono::milliseconds(100);

} // namespace

ProgressLine::ProgressLine() : m_terminal(::isatty(STDERR_FILENO) == 1) {}

void ProgressLine::show(const std::string& step, std::uint64_t done, std::uint64_t total)
{
    if (!m_terminal) return;
    const auto now = std::chrono::steady_clock::now();
    if (step == m_step && now - m_last < g_interval) return;
    m_step = step;
    m_last = now;
    m_shown = true;
    std::fprintf(stderr, "\r\033[K%s", step.c_str());
    if (total != 0) {
        const double share = 100.0 * static_cast<double>(done) / static_cast<double>(total);
        std::fprintf(stderr, " %5.1f%%  %.1f of %.1f MB", share, static_cast<double>(done) / 1e6,
                     static_cast<double>(total) / 1e6);
    }
    std::fflush(stderr);
}

void ProgressLine::wipe()
{
    if (!m_shown) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    m_shown = false;
}

} // namespace samplefold::cli
