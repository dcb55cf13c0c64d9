#include "thread_state/hw_feedback_model.h"

#include <algorithm>
#include <set>

namespace samplefold_test {
namespace {

using reports_t = std::vector<feedback_report_t>;

int classOf(const feedback_report_t& report)
{
    const bool isValid = report.classWord / 0x8000000000000000 == 1;
    return isValid ? static_cast<int>(report.classWord % 256) : 255;
}

std::string nameOf(int classNumber)
{
    return classNumber == 255 ? "Invalid" : "Class_" + std::to_string(classNumber);
}

/// The latest of the first `count` reports for which `fits` holds; null when there is none.
template <class Fits>
const feedback_report_t* latest(const reports_t& reports, std::size_t count, Fits fits)
{
    for (std::size_t i = count; i-- > 0;) {
        if (fits(reports[i])) return &reports[i];
    }
    return nullptr;
}

const feedback_report_t* latestOfCpu(const reports_t& reports, std::size_t count, std::uint64_t cpu)
{
    return latest(reports, count, [cpu](const auto& one) { return one.cpu == cpu; });
}

const feedback_report_t* latestOfThread(const reports_t& reports, std::size_t count,
                                        std::int32_t thread)
{
    return latest(reports, count, [thread](const auto& one) { return one.thread == thread; });
}

/// Reports that do not go back behind their CPU's latest.
reports_t inOrder(const reports_t& reports)
{
    reports_t kept;
    for (const feedback_report_t& report : reports) {
        const feedback_report_t* const before = latestOfCpu(kept, kept.size(), report.cpu);
        if (before == nullptr || report.tick >= before->tick) kept.push_back(report);
    }
    return kept;
}

/// Whether report `i` goes on with what its CPU's report before has told.
bool continues(const reports_t& reports, std::size_t i)
{
    const feedback_report_t* const before = latestOfCpu(reports, i, reports[i].cpu);
    if (before == nullptr || before->thread != reports[i].thread) return false;
    return classOf(*before) == classOf(reports[i]) &&
           latestOfThread(reports, i, reports[i].thread)->cpu == reports[i].cpu;
}

/// First tick of the stretch that report `i` begins.
std::int64_t startOf(const reports_t& reports, std::size_t i)
{
    const feedback_report_t& report = reports[i];
    const feedback_report_t* const here = latestOfCpu(reports, i, report.cpu);
    if (here == nullptr) return report.tick;
    const feedback_report_t* const seen = latestOfThread(reports, i, report.thread);
    if (seen == nullptr) return here->tick + 1;
    const std::int64_t behindLast = latestOfCpu(reports, i, seen->cpu)->tick + 1;
    // A thread that comes back to its own band goes by the other CPU alone.
    return here->thread == report.thread ? behindLast : std::max(here->tick + 1, behindLast);
}

/// The stretch that ends before report `end`, of that CPU, or with all reports.
feedback_stretch_t stretchBefore(const reports_t& reports, std::size_t end, std::uint64_t cpu)
{
    std::size_t first = end;
    do {
        --first;
    } while (reports[first].cpu != cpu || continues(reports, first));
    const auto opening = std::find_if(reports.begin(), reports.end(),
                                      [cpu](const auto& one) { return one.cpu == cpu; });
    feedback_stretch_t stretch{nameOf(classOf(reports[first])), opening->value, {}};
    const std::int64_t start = startOf(reports, first);
    const std::int64_t last = latestOfCpu(reports, end, cpu)->tick;
    if (last > start) stretch.band = {reports[first].thread, start, last};
    return stretch;
}

} // namespace

std::vector<feedback_stretch_t> feedbackStretches(const reports_t& all)
{
    const reports_t reports = inOrder(all);
    std::vector<feedback_stretch_t> stretches;
    std::set<std::uint64_t> cpus;
    for (std::size_t i = 0; i < reports.size(); ++i) {
        const bool isFirst = cpus.insert(reports[i].cpu).second;
        if (!isFirst && !continues(reports, i))
            stretches.push_back(stretchBefore(reports, i, reports[i].cpu));
    }
    for (const std::uint64_t cpu : cpus)
        stretches.push_back(stretchBefore(reports, reports.size(), cpu));
    return stretches;
}

} // namespace samplefold_test
