#include "report/topology_report.h"

#include "report/report_error.h"
#include "report/sql_rows.h"
#include "report/text_table.h"
#include "report/time_range.h"
#include "report/topology_tree.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>

namespace samplefold::report {
namespace {

using nlohmann::ordered_json;

/// A topology with the length of the intervals of its counts, in ns.
struct Shown {
    Topology topology;
    std::optional<std::uint64_t> interval;
};

Shown shownOf(rowvault1::IResult& result, std::optional<double> seconds)
{
    Shown shown;
    if (seconds) shown.interval = std::max<std::uint64_t>(ticksIn(*seconds), 1);
    shown.topology = readTopology(result, shown.interval);
    if (shown.topology.packages.empty()) {
        throw ReportError(result.databasePath() +
                          ": has no topology: add one with --from-dump FILE or --live");
    }
    return shown;
}

/// Six digits, and all of those in front of the point.
std::string numberText(double number)
{
    char text[32];
    const bool isLarge = std::abs(number) >= 1e5;
    std::snprintf(text, sizeof text, isLarge ? "%.0f" : "%.6g", number);
    return text;
}

/// "500, 250/s"
std::string countText(const CountedTime& counted)
{
    const auto rate = counted.rate();
    return std::to_string(counted.events()) + (rate ? ", " + numberText(*rate) + "/s" : "");
}

/// Where an interval begins, in seconds since the first one.
double beginOf(const Shown& shown, std::uint64_t number)
{
    return secondsOf(number * *shown.interval);
}

/// " (2 values left out: they cannot be true)"
std::string leftOutText(std::uint64_t values)
{
    return " (" + std::to_string(values) +
           (values == 1 ? " value left out: it cannot be true)"
                        : " values left out: they cannot be true)");
}

/// What events counted, a line each, and a line for each interval.
void writeCounts(const std::vector<UncoreCount>& counts, const Shown& shown,
                 const std::string& indent, std::ostream& out)
{
    for (const UncoreCount& count : counts) {
        out << indent << printable(count.event) << ": " << countText(count.total);
        if (count.implausible != 0) out << leftOutText(count.implausible);
        out << '\n';
        for (const auto& [number, part] : count.intervals) {
            out << indent << "  " << numberText(beginOf(shown, number)) << " s to "
                << numberText(beginOf(shown, number + 1)) << " s: " << countText(part) << '\n';
        }
    }
}

/// "8 GT/s x16"; empty when nothing is known.
std::string linkText(const TopologyLink& link)
{
    std::ostringstream text;
    if (link.speed) text << *link.speed << " GT/s";
    if (link.lanes > 0) text << (link.speed ? " x" : "x") << link.lanes;
    return text.str();
}

void writeDevices(const TopologyChannel& channel, std::ostream& out)
{
    for (const TopologyDevice& device : channel.devices) {
        out << "      " << device.address << "  " << printable(device.className) << ": "
            << printable(device.name);
        const std::string running = linkText(device.running);
        const std::string capable = linkText(device.capable);
        if (!running.empty()) out << ", " << running;
        if (!capable.empty() && capable != running) out << " (can do " << capable << ")";
        out << '\n';
    }
}

/// "channel 2: what is behind it"
void writeTitle(const std::string& title, const std::string& source, std::ostream& out)
{
    out << title;
    if (!source.empty()) out << ": " << printable(source);
    out << '\n';
}

void writeUnit(const TopologyUnit& unit, const Shown& shown, std::ostream& out)
{
    out << "  IO unit " << unit.number;
    if (unit.meshStop) out << ", mesh stop " << *unit.meshStop;
    out << '\n';
    writeCounts(unit.counts, shown, "    ", out);
    for (const TopologyChannel& channel : unit.channels) {
        writeTitle("    channel " + std::to_string(channel.number), channel.source, out);
        writeDevices(channel, out);
        writeCounts(channel.counts, shown, "      ", out);
    }
}

void writePackage(const TopologyPackage& package, const Shown& shown, std::ostream& out)
{
    out << printable(package.name) << '\n';
    for (const TopologyUnit& unit : package.units)
        writeUnit(unit, shown, out);
    for (const TopologyMeshStop& stop : package.meshStops) {
        if (stop.counts.empty()) continue;
        writeTitle("  mesh stop " + std::to_string(stop.number), stop.source, out);
        writeCounts(stop.counts, shown, "    ", out);
    }
    for (const PackageLink& link : package.links) {
        writeTitle("  " + printable(link.name), "", out);
        writeCounts(link.counts, shown, "    ", out);
    }
    if (!package.counts.empty()) out << "  other uncore events\n";
    writeCounts(package.counts, shown, "    ", out);
}

ordered_json countedToJson(const CountedTime& counted)
{
    const auto rate = counted.rate();
    ordered_json json;
    json["count"] = counted.events();
    json["per_second"] = rate ? ordered_json(*rate) : ordered_json();
    return json;
}

ordered_json countsToJson(const std::vector<UncoreCount>& counts, const Shown& shown)
{
    ordered_json list = ordered_json::array();
    for (const UncoreCount& count : counts) {
        ordered_json entry;
        entry["event"] = count.event;
        entry.update(countedToJson(count.total));
        entry["implausible_values"] = count.implausible;
        for (const auto& [number, part] : count.intervals) {
            ordered_json interval;
            interval["from"] = beginOf(shown, number);
            interval["to"] = beginOf(shown, number + 1);
            interval.update(countedToJson(part));
            entry["intervals"].push_back(std::move(interval));
        }
        list.push_back(std::move(entry));
    }
    return list;
}

ordered_json linkToJson(const TopologyLink& link)
{
    ordered_json json;
    json["gigatransfers"] = link.speed ? ordered_json(*link.speed) : ordered_json();
    json["lanes"] = link.lanes > 0 ? ordered_json(link.lanes) : ordered_json();
    return json;
}

ordered_json channelToJson(const TopologyChannel& channel, const Shown& shown)
{
    ordered_json json;
    json["channel"] = channel.number;
    json["source"] = textOrNull(channel.source);
    auto& devices = json["devices"] = ordered_json::array();
    for (const TopologyDevice& device : channel.devices) {
        devices.push_back({{"address", device.address},
                           {"class", textOrNull(device.className)},
                           {"name", textOrNull(device.name)},
                           {"subsystem", textOrNull(device.subsystem)},
                           {"link_capable", linkToJson(device.capable)},
                           {"link_running", linkToJson(device.running)}});
    }
    json["counts"] = countsToJson(channel.counts, shown);
    return json;
}

ordered_json unitToJson(const TopologyUnit& unit, const Shown& shown)
{
    ordered_json json;
    json["unit"] = unit.number;
    json["source"] = textOrNull(unit.source);
    json["mesh_stop"] = unit.meshStop ? ordered_json(*unit.meshStop) : ordered_json();
    auto& channels = json["channels"] = ordered_json::array();
    for (const TopologyChannel& channel : unit.channels)
        channels.push_back(channelToJson(channel, shown));
    json["counts"] = countsToJson(unit.counts, shown);
    return json;
}

ordered_json packageToJson(const TopologyPackage& package, const Shown& shown)
{
    ordered_json json;
    json["name"] = textOrNull(package.name);
    auto& units = json["units"] = ordered_json::array();
    for (const TopologyUnit& unit : package.units)
        units.push_back(unitToJson(unit, shown));
    auto& stops = json["mesh_stops"] = ordered_json::array();
    for (const TopologyMeshStop& stop : package.meshStops) {
        stops.push_back({{"mesh_stop", stop.number},
                         {"source", textOrNull(stop.source)},
                         {"counts", countsToJson(stop.counts, shown)}});
    }
    auto& links = json["links"] = ordered_json::array();
    for (const PackageLink& link : package.links)
        links.push_back({{"name", link.name}, {"counts", countsToJson(link.counts, shown)}});
    json["other_counts"] = countsToJson(package.counts, shown);
    return json;
}

} // namespace

void writeTopology(rowvault1::IResult& result, std::ostream& out, std::optional<double> interval)
{
    const Shown shown = shownOf(result, interval);
    for (const TopologyPackage& package : shown.topology.packages)
        writePackage(package, shown, out);
    if (!shown.topology.hasInventory)
        out << "no PCI functions are known: add them with --from-dump FILE or --live\n";
}

ordered_json topologyToJson(rowvault1::IResult& result, std::optional<double> interval)
{
    const Shown shown = shownOf(result, interval);
    ordered_json json;
    auto& packages = json["packages"] = ordered_json::array();
    for (const TopologyPackage& package : shown.topology.packages)
        packages.push_back(packageToJson(package, shown));
    return json;
}

} // namespace samplefold::report
