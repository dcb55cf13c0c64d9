#include "report/topology_report.h"

#include "report/report_error.h"
#include "report/sql_rows.h"
#include "report/text_table.h"
#include "report/topology_tree.h"

#include <sstream>
#include <string>

namespace samplefold::report {
namespace {

using nlohmann::ordered_json;

std::vector<TopologyPackage> topologyOf(rowvault1::IResult& result)
{
    auto packages = readTopology(result);
    if (packages.empty()) {
        throw ReportError(result.databasePath() +
                          ": has no topology: add one with --from-dump FILE or --live");
    }
    return packages;
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

void writeUnit(const TopologyUnit& unit, std::ostream& out)
{
    out << "  IO unit " << unit.number;
    if (unit.meshStop) out << ", mesh stop " << *unit.meshStop;
    out << '\n';
    for (const TopologyChannel& channel : unit.channels) {
        out << "    channel " << channel.number << '\n';
        writeDevices(channel, out);
    }
}

ordered_json linkToJson(const TopologyLink& link)
{
    ordered_json json;
    json["gigatransfers"] = link.speed ? ordered_json(*link.speed) : ordered_json();
    json["lanes"] = link.lanes > 0 ? ordered_json(link.lanes) : ordered_json();
    return json;
}

ordered_json channelToJson(const TopologyChannel& channel)
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
    return json;
}

ordered_json unitToJson(const TopologyUnit& unit)
{
    ordered_json json;
    json["unit"] = unit.number;
    json["source"] = textOrNull(unit.source);
    json["mesh_stop"] = unit.meshStop ? ordered_json(*unit.meshStop) : ordered_json();
    auto& channels = json["channels"] = ordered_json::array();
    for (const TopologyChannel& channel : unit.channels)
        channels.push_back(channelToJson(channel));
    return json;
}

} // namespace

void writeTopology(rowvault1::IResult& result, std::ostream& out)
{
    for (const TopologyPackage& package : topologyOf(result)) {
        out << printable(package.name) << '\n';
        for (const TopologyUnit& unit : package.units)
            writeUnit(unit, out);
        for (const std::string& link : package.links)
            out << "  " << printable(link) << '\n';
    }
}

ordered_json topologyToJson(rowvault1::IResult& result)
{
    ordered_json json;
    auto& packages = json["packages"] = ordered_json::array();
    for (const TopologyPackage& package : topologyOf(result)) {
        ordered_json entry;
        entry["name"] = textOrNull(package.name);
        auto& units = entry["units"] = ordered_json::array();
        for (const TopologyUnit& unit : package.units)
            units.push_back(unitToJson(unit));
        entry["links"] = package.links;
        packages.push_back(std::move(entry));
    }
    return json;
}

} // namespace samplefold::report
