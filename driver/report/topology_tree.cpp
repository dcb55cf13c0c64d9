#include "report/topology_tree.h"

#include "report/sql_rows.h"

#include <sstream>

namespace samplefold::report {
namespace {

using row_t = std::span<const tb2::variant_t>;

std::string textOf(const tb2::variant_t& value)
{
    return value.is_null() ? std::string() : std::string(value.as_text());
}

std::int64_t numberOf(const tb2::variant_t& value)
{
    return value.is_null() ? 0 : static_cast<std::int64_t>(value.integer_bits());
}

TopologyLink linkOf(const tb2::variant_t& speed, const tb2::variant_t& lanes)
{
    TopologyLink link;
    if (!speed.is_null()) link.speed = speed.as_double();
    link.lanes = numberOf(lanes);
    return link;
}

constexpr const char* g_devices =
    "SELECT d.address, d.name, c.name, d.extra_text, d.link_speed_a, d.link_value_a, "
    "d.link_speed_b, d.link_value_b FROM dd_pci_device_info AS d "
    "LEFT JOIN dd_pci_device_class AS c ON c.id = d.device_class "
    "ORDER BY d.domain, d.bus, d.device, d.function";
constexpr const char* g_channels =
    "SELECT c.io_unit, c.channel, t.name, t.addresses FROM dd_io_channel_info AS c "
    "LEFT JOIN dd_io_traffic_source AS t ON t.id = c.traffic_source ORDER BY c.io_unit, c.channel";
constexpr const char* g_units =
    "SELECT u.package, u.id, u.io_unit, t.name, m.tid FROM dd_io_unit_info AS u "
    "LEFT JOIN dd_io_traffic_source AS t ON t.id = u.traffic_source "
    "LEFT JOIN dd_mesh_stop AS m ON m.id = u.mesh_stop ORDER BY u.package, u.io_unit, u.id";

std::map<std::string, TopologyDevice> readDevices(rowvault1::IResult& result)
{
    std::map<std::string, TopologyDevice> devices;
    visitRows(result, g_devices, [&](row_t row) {
        devices[textOf(row[0])] = {textOf(row[0]), textOf(row[1]),         textOf(row[2]),
                                   textOf(row[3]), linkOf(row[4], row[5]), linkOf(row[6], row[7])};
    });
    return devices;
}

/// Channels by the row of their unit. The devices of a channel are the addresses of its source.
std::map<std::int64_t, std::vector<TopologyChannel>> readChannels(rowvault1::IResult& result)
{
    const auto devices = readDevices(result);
    std::map<std::int64_t, std::vector<TopologyChannel>> channels;
    visitRows(result, g_channels, [&](row_t row) {
        TopologyChannel channel;
        channel.number = numberOf(row[1]);
        channel.source = textOf(row[2]);
        std::istringstream addresses(textOf(row[3]));
        for (std::string address; std::getline(addresses, address, ',');) {
            const auto device = devices.find(address);
            if (device != devices.end()) channel.devices.push_back(device->second);
        }
        channels[rowKey(row[0])].push_back(std::move(channel));
    });
    return channels;
}

std::map<std::int64_t, std::vector<TopologyUnit>> readUnits(rowvault1::IResult& result)
{
    auto channels = readChannels(result);
    std::map<std::int64_t, std::vector<TopologyUnit>> units;
    visitRows(result, g_units, [&](row_t row) {
        TopologyUnit unit;
        unit.number = numberOf(row[2]);
        unit.source = textOf(row[3]);
        if (!row[4].is_null()) unit.meshStop = numberOf(row[4]);
        unit.channels = std::move(channels[rowKey(row[1])]);
        units[rowKey(row[0])].push_back(std::move(unit));
    });
    return units;
}

} // namespace

std::vector<TopologyPackage> readTopology(rowvault1::IResult& result)
{
    auto units = readUnits(result);
    std::map<std::int64_t, std::vector<std::string>> links;
    visitRows(result, "SELECT package, display_name FROM dd_xlk_link_info ORDER BY package, link",
              [&](row_t row) { links[rowKey(row[0])].push_back(textOf(row[1])); });
    std::vector<TopologyPackage> packages;
    visitRows(result, "SELECT id, name FROM dd_package ORDER BY id", [&](row_t row) {
        TopologyPackage package{textOf(row[1]), std::move(units[rowKey(row[0])]),
                                std::move(links[rowKey(row[0])])};
        if (!package.units.empty() || !package.links.empty())
            packages.push_back(std::move(package));
    });
    return packages;
}

} // namespace samplefold::report
