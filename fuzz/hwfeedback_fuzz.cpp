// Fuzz target of the reader of hardware feedback reports: what it finds is compared with a plain
// reading of the same lines.

#include "load/hw_feedback_file.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace {

using samplefold::load::HwFeedbackReport;

/// What must hold for any input.
void require(bool holds)
{
    if (!holds) std::abort();
}

/// A line that says the same as a report.
std::string lineOf(const HwFeedbackReport& report)
{
    std::ostringstream line;
    line << report.tick << ' ' << report.cpu << ' ' << report.thread << " 0x" << std::hex
         << report.classWord << ' ' << std::dec << report.value << '\n';
    return line.str();
}

/// Lines with anything but blanks before a comment.
std::uint64_t toldLines(const std::string& text)
{
    std::uint64_t count = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        line.resize(std::min(line.find('#'), line.size()));
        count += line.find_first_not_of(" \t\r") != std::string::npos ? 1 : 0;
    }
    return count;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto file = samplefold::load::parseHwFeedback(text);
    require(file.reports.size() + file.badLines == toldLines(text));
    require((file.badLines == 0) == file.problem.empty());
    require((file.badLines == 0) == samplefold::load::hwFeedbackFault("file", file).empty());
    require(std::ranges::is_sorted(file.reports, {}, &HwFeedbackReport::tick));
    std::string again;
    for (const HwFeedbackReport& report : file.reports)
        again += lineOf(report);
    const auto same = samplefold::load::parseHwFeedback(again);
    require(same.badLines == 0 && same.reports == file.reports);
    return 0;
}
