#include "report/topology_tree.h"

#include "report/sql_rows.h"

#include <algorithm>
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
    "SELECT c.io_unit, c.channel, t.name, t.addresses, c.id FROM dd_io_channel_info AS c "
    "LEFT JOIN dd_io_traffic_source AS t ON t.id = c.traffic_source ORDER BY c.io_unit, c.channel";
constexpr const char* g_units =
    "SELECT u.package, u.id, u.io_unit, t.name, m.tid FROM dd_io_unit_info AS u "
    "LEFT JOIN dd_io_traffic_source AS t ON t.id = u.traffic_source "
    "LEFT JOIN dd_mesh_stop AS m ON m.id = u.mesh_stop ORDER BY u.package, u.io_unit, u.id";

constexpr const char* g_meshStops =
    "SELECT m.package, m.id, m.tid, t.name FROM dd_mesh_stop AS m "
    "LEFT JOIN dd_io_traffic_source AS t ON t.id = m.traffic_source ORDER BY m.tid, m.id";
constexpr const char* g_links =
    "SELECT package, id, display_name FROM dd_xlk_link_info ORDER BY link, id";
constexpr const char* g_places =
    "SELECT event, package, io_channel, io_unit, mesh_stop, link FROM dd_uncore_event_place";

/// What counts can belong to, by certainty; the row of the package stands for what is left.
enum class Place { channel, unit, meshStop, link, package };

/// Counts by the place that they are shown at.
class PlacedCounts {
public:
    PlacedCounts(rowvault1::IResult& result, UncoreCounts counts)
    {
        visitRows(result, g_places, [&](row_t row) {
            for (const Place place : {Place::channel, Place::unit, Place::meshStop, Place::link}) {
                const std::int64_t key = rowKey(row[2 + static_cast<std::size_t>(place)]);
                if (key == -1) continue;
                m_places.emplace(EventOnPackage{rowKey(row[0]), rowKey(row[1])},
                                 std::pair{place, key});
                return;
            }
        });
        for (auto& [event, count] : counts.counts) {
            const auto known = m_places.find(event);
            const auto place =
                known != m_places.end() ? known->second : std::pair{Place::package, event.second};
            m_counts[place].push_back(std::move(count));
        }
        for (auto& [place, list] : m_counts)
            std::ranges::stable_sort(list, {}, &UncoreCount::event);
    }
    std::vector<UncoreCount> take(Place place, std::int64_t key)
    {
        const auto found = m_counts.find({place, key});
        return found != m_counts.end() ? std::move(found->second) : std::vector<UncoreCount>();
    }

private:
    std::map<EventOnPackage, std::pair<Place, std::int64_t>> m_places;
    std::map<std::pair<Place, std::int64_t>, std::vector<UncoreCount>> m_counts;
};

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
std::map<std::int64_t, std::vector<TopologyChannel>> readChannels(rowvault1::IResult& result,
                                                                  PlacedCounts& counts)
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
        channel.counts = counts.take(Place::channel, rowKey(row[4]));
        channels[rowKey(row[0])].push_back(std::move(channel));
    });
    return channels;
}

std::map<std::int64_t, std::vector<TopologyUnit>> readUnits(rowvault1::IResult& result,
                                                            PlacedCounts& counts)
{
    auto channels = readChannels(result, counts);
    std::map<std::int64_t, std::vector<TopologyUnit>> units;
    visitRows(result, g_units, [&](row_t row) {
        TopologyUnit unit;
        unit.number = numberOf(row[2]);
        unit.source = textOf(row[3]);
        if (!row[4].is_null()) unit.meshStop = numberOf(row[4]);
        unit.channels = std::move(channels[rowKey(row[1])]);
        unit.counts = counts.take(Place::unit, rowKey(row[1]));
        units[rowKey(row[0])].push_back(std::move(unit));
    });
    return units;
}

std::map<std::int64_t, std::vector<TopologyMeshStop>> readMeshStops(rowvault1::IResult& result,
                                                                    PlacedCounts& counts)
{
    std::map<std::int64_t, std::vector<TopologyMeshStop>> stops;
    visitRows(result, g_meshStops, [&](row_t row) {
        stops[rowKey(row[0])].push_back(
            {numberOf(row[2]), textOf(row[3]), counts.take(Place::meshStop, rowKey(row[1]))});
    });
    return stops;
}

std::map<std::int64_t, std::vector<PackageLink>> readLinks(rowvault1::IResult& result,
                                                           PlacedCounts& counts)
{
    std::map<std::int64_t, std::vector<PackageLink>> links;
    visitRows(result, g_links, [&](row_t row) {
        links[rowKey(row[0])].push_back({textOf(row[2]), counts.take(Place::link, rowKey(row[1]))});
    });
    return links;
}

bool hasInventory(rowvault1::IResult& result)
{
    bool isThere = false;
    visitRows(result,
              "SELECT EXISTS (SELECT 1 FROM dd_pci_device_info) OR "
              "EXISTS (SELECT 1 FROM dd_io_unit_info)",
              [&](row_t row) { isThere = row[0].integer_bits() != 0; });
    return isThere;
}

bool isEmpty(const TopologyPackage& package)
{
    return package.units.empty() && package.meshStops.empty() && package.links.empty() &&
           package.counts.empty();
}

} // namespace

Topology readTopology(rowvault1::IResult& result, std::optional<std::uint64_t> interval)
{
    Topology topology;
    UncoreCounts read = readUncoreCounts(result, interval);
    topology.firstTick = read.firstTick;
    topology.hasInventory = hasInventory(result);
    PlacedCounts counts(result, std::move(read));
    auto units = readUnits(result, counts);
    auto meshStops = readMeshStops(result, counts);
    auto links = readLinks(result, counts);
    const auto add = [&](const std::string& name, std::int64_t row) {
        TopologyPackage package{name, std::move(units[row]), std::move(meshStops[row]),
                                std::move(links[row]), counts.take(Place::package, row)};
        if (!isEmpty(package)) topology.packages.push_back(std::move(package));
    };
    visitRows(result, "SELECT id, name FROM dd_package ORDER BY id",
              [&](row_t row) { add(textOf(row[1]), rowKey(row[0])); });
    add("[unknown package]", -1);
    return topology;
}

} // namespace samplefold::report
