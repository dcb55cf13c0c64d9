#include "report/core_class.h"

#include "report/core_class_bands.h"
#include "report/report_error.h"
#include "report/summary.h"
#include "report/sums.h"
#include "report/text_table.h"
#include "report/thread_names.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace samplefold::report {
namespace {

using nlohmann::ordered_json;

struct ClassTime {
    std::string name;
    std::uint64_t ticks = 0;
    std::uint64_t bands = 0;
};

struct ThreadClasses {
    std::int64_t thread = -1;
    std::uint64_t ticks = 0; ///< of all classes
    std::vector<ClassTime> classes;
};

/// Threads and their classes by falling time.
using Classes = std::vector<ThreadClasses>;

/// Ticks of bands, both ends included, as far as they lie in the range, by thread and class.
using Sums = std::map<std::int64_t, std::map<std::string, ClassTime, std::less<>>>;

Sums addUpBands(rowvault1::IResult& result, const TickRange& range)
{
    const std::uint64_t from = range.from.value_or(0);
    const std::uint64_t to = range.to.value_or(std::numeric_limits<std::uint64_t>::max());
    Sums sums;
    bool anyBands = false;
    visitCoreClassBands(result, [&](const CoreClassBand& band) {
        anyBands = true;
        if (band.end < from || band.start > to) return;
        ClassTime& time = sums[band.thread].try_emplace(std::string(band.name)).first->second;
        time.ticks += std::min(band.end, to) - std::max(band.start, from) + 1;
        ++time.bands;
    });
    if (!anyBands) {
        throw ReportError(result.databasePath() +
                          ": has no core classes: load with --hw-feedback FILE");
    }
    return sums;
}

Classes readClasses(rowvault1::IResult& result, const TickRange& range)
{
    Classes all;
    for (auto& [thread, byName] : addUpBands(result, range)) {
        ThreadClasses& own = all.emplace_back();
        own.thread = thread;
        for (auto& [name, time] : byName) {
            own.ticks += time.ticks;
            own.classes.push_back({name, time.ticks, time.bands});
        }
        std::ranges::stable_sort(own.classes, std::ranges::greater(), &ClassTime::ticks);
    }
    std::ranges::stable_sort(all, std::ranges::greater(), &ThreadClasses::ticks);
    return all;
}

/// Cuts the threads behind the limit off, and gives them.
Classes takeHidden(Classes& all, std::uint64_t limit)
{
    if (limit == 0 || limit >= all.size()) return {};
    const auto first = all.begin() + static_cast<std::ptrdiff_t>(limit);
    Classes hidden(first, all.end());
    all.erase(first, all.end());
    return hidden;
}

double secondsIn(const Classes& classes)
{
    std::uint64_t ticks = 0;
    for (const ThreadClasses& own : classes)
        ticks += own.ticks;
    return secondsOf(ticks);
}

/// Of a damaged result the sum may wrap, to nothing at worst.
std::optional<double> percentIn(const ClassTime& time, const ThreadClasses& own)
{
    if (own.ticks == 0) return std::nullopt;
    return 100.0 * static_cast<double>(time.ticks) / static_cast<double>(own.ticks);
}

} // namespace

void writeCoreClasses(rowvault1::IResult& result, const CoreClassOptions& options,
                      std::ostream& out)
{
    Classes shown = readClasses(result, options.range);
    const Classes hidden = takeHidden(shown, options.limit);
    ThreadNames names = readThreadNames(result);
    writeSummary(result, out, options.range);
    out << "\nTime in core classes by thread\n";
    TextTable table;
    for (const char* title : {"pid", "tid"})
        table.addColumn(title, TextTable::Align::right);
    for (const char* title : {"thread", "class"})
        table.addColumn(title, TextTable::Align::left);
    for (const char* title : {"seconds", "share", "bands"})
        table.addColumn(title, TextTable::Align::right);
    for (const ThreadClasses& own : shown) {
        const ThreadName& name = names[own.thread];
        for (const ClassTime& time : own.classes) {
            table.addRow({toText(name.pid), toText(name.tid), toText(name.name), time.name,
                          secondsText(secondsOf(time.ticks)), percentText(percentIn(time, own)),
                          std::to_string(time.bands)});
        }
    }
    table.print(out, "  ");
    if (hidden.empty()) return;
    out << "  not shown: " << hidden.size() << (hidden.size() == 1 ? " thread" : " threads")
        << " with " << secondsText(secondsIn(hidden)) << " s (--limit)\n";
}

ordered_json coreClassesToJson(rowvault1::IResult& result, const CoreClassOptions& options)
{
    Classes shown = readClasses(result, options.range);
    const Classes hidden = takeHidden(shown, options.limit);
    ThreadNames names = readThreadNames(result);
    ordered_json report = summaryToJson(result, options.range);
    report["by"] = "core-class";
    ordered_json& list = report["entries"] = ordered_json::array();
    for (const ThreadClasses& own : shown) {
        const ThreadName& name = names[own.thread];
        for (const ClassTime& time : own.classes) {
            const auto percent = percentIn(time, own);
            list.push_back({{"pid", toJson(name.pid)},
                            {"tid", toJson(name.tid)},
                            {"thread", toJson(name.name)},
                            {"class", time.name},
                            {"seconds", secondsOf(time.ticks)},
                            {"percent", percent ? ordered_json(*percent) : ordered_json()},
                            {"bands", time.bands}});
        }
    }
    report["not_shown"] = {{"threads", hidden.size()}, {"seconds", secondsIn(hidden)}};
    return report;
}

} // namespace samplefold::report
