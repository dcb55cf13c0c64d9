#include "topology/uncore_ties.h"

#include "session/keyed_rows.h"
#include "session/table_rows.h"
#include "topology/topology_loader.h"
#include "topology/uncore_names.h"

#include <samplefold_1/pci_devices_mapping.h>
#include <samplefold_1/xlk_link_info.h>

#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace samplefold::topology {
namespace {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;
using rowvault1::utils::variantToIndex;

/// Beyond that the library's maps of pairs would take the memory.
constexpr std::uint64_t g_mostPairs = 1'000'000;

struct Package {
    Index row;
    int number = 0;
};

struct Event {
    Index row;
    std::optional<int> link; ///< that it counts
};

struct Place {
    Index channel, unit, meshStop, link;

    bool isAnywhere() const
    {
        return channel.exist() || unit.exist() || meshStop.exist() || link.exist();
    }
};

std::vector<Event> readEvents(rowvault1::IDatabase& db)
{
    std::vector<Event> events;
    session::readTable(
        "dd_uncore_event_type", db, std::array{"rowid", "name"}, [&](const auto& row) {
            events.push_back({variantToIndex(row[0]), linkOfEvent(row[1].as_text())});
        });
    return events;
}

/// The number in a name "package_1", as the library reads it.
std::optional<int> packageNumber(std::string_view name)
{
    const std::size_t last = name.find_last_not_of("0123456789");
    if (last == std::string_view::npos || last + 1 == name.size() || name[last] != '_') return {};
    int number = -1;
    const auto failure = std::from_chars(name.data() + last + 1, name.data() + name.size(), number);
    return failure.ec == std::errc() ? number : std::numeric_limits<int>::max();
}

std::vector<Package> readPackages(rowvault1::IDatabase& db)
{
    std::vector<Package> packages;
    session::readTable("dd_package", db, std::array{"rowid", "name"}, [&](const auto& row) {
        if (const auto number = packageNumber(row[1].as_text()))
            packages.push_back({variantToIndex(row[0]), *number});
    });
    return packages;
}

/// The library shares a row of a link that is there before it starts, and else makes one per event.
void addLinks(const tb2::sptr_t<rowvault1::IDatabase>& db, const std::vector<Package>& packages,
              const std::vector<Event>& events)
{
    session::KeyedRows<Index, std::int32_t> links(db, "dd_xlk_link_info", {"package", "link"});
    for (const Package& package : packages) {
        for (const Event& event : events) {
            if (!event.link) continue;
            const std::string name = "Link " + std::to_string(*event.link);
            links.findOrAdd({package.row, *event.link}, [&](session::RowWriter& writer) {
                writer.set("display_name", tb2::variant_t(std::string_view(name)));
            });
        }
    }
}

std::uint64_t placesOf(rowvault1::IDatabase& db)
{
    std::uint64_t rows = 0;
    for (const char* const table : {"dd_io_channel_info", "dd_io_unit_info", "dd_mesh_stop"})
        rows += db.getAttributeTable(table)->size();
    return rows;
}

/// The two classes of the library that know what an event stands for.
class Ties {
public:
    Ties(const tb2::sptr_t<rowvault1::IDatabase>& db, bool withTopology, int platformModel)
        : m_withTopology(withTopology)
    {
        m_links.init(db);
        if (withTopology) m_devices.initEventsMapping(db, platformModel);
    }
    Place operator()(const Event& event, const Package& package) const
    {
        Place place;
        place.link = m_links.getXlkLinkInfoDbIndexByEventTypeAndPackage(event.row, package.number);
        if (!m_withTopology) return place;
        place.channel =
            m_devices.getIoChannelInfoDbIndexByEventTypeAndPackage(event.row, package.number);
        place.unit = m_devices.getIoUnitInfoDbIndexByEventTypeAndPackage(event.row, package.number);
        place.meshStop =
            m_devices.getMeshStopDbIndexByEventTypeAndPackage(event.row, package.number);
        return place;
    }

private:
    bool m_withTopology;
    samplefold_1::PciDevicesMapping m_devices;
    samplefold_1::XlkLinkInfo m_links;
};

/// Rows of dd_uncore_event_place by event and package; one that is there is changed.
class PlaceRows {
public:
    explicit PlaceRows(const tb2::sptr_t<rowvault1::IDatabase>& db)
        : m_table(db->getAttributeTable("dd_uncore_event_place")),
          m_rows(db, "dd_uncore_event_place", {"event", "package"}),
          m_schema(*rowvault1::schema::findTable("dd_uncore_event_place"))
    {
    }
    void put(Index event, Index package, const Place& place)
    {
        bool isNew = false;
        const Index key = m_rows.findOrAdd({event, package}, [&](session::RowWriter& writer) {
            isNew = true;
            visit(place,
                  [&](const char* column, Index row) { writer.set(column, indexToVariant(row)); });
        });
        if (isNew || !key.exist()) return;
        const rowvault1::StoredRecord record(m_table->getRecord(key));
        visit(place, [&](const char* column, Index row) {
            record[rowvault1::schema::findColumn(m_schema, column)->position] = indexToVariant(row);
        });
    }

private:
    template <class Set>
    static void visit(const Place& place, Set&& set)
    {
        set("io_channel", place.channel);
        set("io_unit", place.unit);
        set("mesh_stop", place.meshStop);
        set("link", place.link);
    }

    tb2::sptr_t<rowvault1::IAttributeTable> m_table;
    session::KeyedRows<Index, Index> m_rows;
    const rowvault1::schema::table_t& m_schema;
};

} // namespace

TieCounts tieUncoreEvents(const tb2::sptr_t<rowvault1::IDatabase>& db, int platformModel)
{
    TieCounts counts;
    const std::vector<Event> events = readEvents(*db);
    const std::vector<Package> packages = readPackages(*db);
    counts.events = events.size();
    if (events.empty()) return counts;
    counts.tooMany = packages.size() * events.size() > g_mostPairs;
    if (counts.tooMany) return counts;
    counts.withoutTopology = !hasTopology(*db);

    addLinks(db, packages, events);
    const std::uint64_t before = placesOf(*db);
    const Ties ties(db, !counts.withoutTopology, platformModel);
    counts.addedPlaces = placesOf(*db) - before;
    PlaceRows rows(db);
    std::set<int> numbers;
    for (const Package& package : packages) {
        // Of several packages with one number the first counts, as in the library.
        if (!numbers.insert(package.number).second) continue;
        for (const Event& event : events) {
            const Place place = ties(event, package);
            if (!place.isAnywhere()) continue;
            rows.put(event.row, package.row, place);
            ++counts.tied;
        }
    }
    return counts;
}

void reportQuality(const TieCounts& counts, session::QualityLog& quality)
{
    using session::Severity;
    quality.add("uncore events without a topology to tie them to",
                counts.withoutTopology ? counts.events : 0,
                "add the machine's: samplefold topology RESULT --from-dump FILE", Severity::info);
    quality.add("IO units, channels and mesh stops that only names of uncore events tell of",
                counts.addedPlaces,
                "nothing is known behind them; check that the topology is of the recorded machine",
                Severity::info);
    quality.add("uncore events that were not tied, since there are too many of them on packages",
                counts.tooMany ? counts.events : 0, "record fewer events at once", Severity::error);
}

} // namespace samplefold::topology
