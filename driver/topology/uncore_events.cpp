#include "topology/uncore_events.h"

#include "topology/uncore_names.h"

#include <cstdint>
#include <map>

namespace samplefold::topology {
namespace {

/// Beyond that a number is not of a package; the event phase makes rows for each.
constexpr int g_mostPackages = 1024;

using PmuNames = std::map<std::uint32_t, std::string>;

PmuNames uncorePmus(const perfdata::Features& features)
{
    PmuNames names;
    for (const perfdata::PmuMapping& pmu : features.pmuMappings) {
        if (isUncorePmu(pmu.name)) names.emplace(pmu.type, pmu.name);
    }
    return names;
}

void storeEvents(const tb2::sptr_t<rowvault1::IDatabase>& db, const perfdata::Recording& recording,
                 RecordedPlatform& platform, session::QualityLog& quality)
{
    const PmuNames pmus = uncorePmus(recording.features());
    session::KeyedRows<std::string> events(db, "dd_uncore_event_type", {"name"});
    platform.rows.uncoreEvents.resize(recording.events().size());
    std::uint64_t unnamed = 0;
    for (const perfdata::Event& event : recording.events()) {
        const auto pmu = pmus.find(event.attr.type);
        if (pmu == pmus.end()) continue;
        if (const auto name = uncoreEventName(pmu->second, event.name, event.attr)) {
            platform.rows.uncoreEvents[event.index] = events.findOrAdd({*name});
            platform.hasUncoreEvents = true;
        } else {
            ++unnamed;
        }
    }
    quality.add("uncore events of units whose number cannot be", unnamed,
                "their counts are there and stand for no unit; record again",
                session::Severity::error);
}

void storePackages(const tb2::sptr_t<rowvault1::IDatabase>& db, const perfdata::Features& features,
                   const std::string& sysfsRoot, RecordedPlatform& platform,
                   session::QualityLog& quality)
{
    CpuPackages packages = packagesIn(features);
    if (packages.empty() && !platform.hasUncoreEvents) return;
    if (packages.empty() && !sysfsRoot.empty()) packages = readCpuPackages(sysfsRoot);
    PackageRows rows(db);
    for (const auto& [cpu, package] : packages) {
        if (package < g_mostPackages) platform.rows.packages.emplace(cpu, rows.row(package));
    }
    if (!packages.empty()) return;
    platform.rows.packageOfOthers = rows.row(0);
    quality.add("recordings whose CPUs are guessed to be of one package", 1,
                "the recording does not tell of packages: give --sysfs-root with a copy of the "
                "machine's sysfs",
                session::Severity::info);
}

} // namespace

RecordedPlatform storePlatform(const tb2::sptr_t<rowvault1::IDatabase>& db,
                               const perfdata::Recording& recording, const std::string& sysfsRoot,
                               session::QualityLog& quality)
{
    RecordedPlatform platform;
    storeEvents(db, recording, platform, quality);
    storePackages(db, recording.features(), sysfsRoot, platform, quality);
    return platform;
}

} // namespace samplefold::topology
