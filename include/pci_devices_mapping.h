#pragma once

#include "export.h"
#include "pci_records.h"
#include "traffic_source_name.h"

#include <boost/regex_fwd.hpp>
#include <rowvault1/database.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace samplefold_1 {

/// The platform's IO topology in a result, in two phases that may run on two instances.
///
/// Topology phase: initIoTopologyLoading, any number of addPciDeviceInfo and addIoUnitToTidMapping,
/// then loadIoTopology once. It writes the tables of PCI devices, IO units, channels, mesh stops
/// and traffic sources.
///
/// Event phase: initEventsMapping, then the look-ups. It reads the tables and ties each uncore
/// event on each package to an IO unit, a channel and a mesh stop, by the event's name.
///
/// Failures are assertions with the text of the condition; nothing is thrown. A key that does not
/// exist is stored as -1. No locks: one thread at a time.
class SAMPLEFOLD_1_API PciDevicesMapping {
public:
    /// What an event name looks like; groups eventType, partNum, tid and unitNum. For whole
    /// matches. Both patterns are built when the library is loaded and may be shared between
    /// threads; who matches by them links Boost.Regex. Their time is bounded only for names whose
    /// end is right.
    static const boost::regex m_pciEventPattern;
    /// What a package name looks like; group packageNum. For whole matches.
    static const boost::regex m_packageNamePattern;

    // ---- Topology phase ----

    /// Opens the tables to write. `db` must not be null. A second call opens them anew.
    void initIoTopologyLoading(const tb2::sptr_t<rowvault1::IDatabase>& db);
    /// Notes a PCI function and its place; nothing is written yet, and the call may come before
    /// initIoTopologyLoading. Of several functions at one address in a channel the first is kept.
    /// Speeds are texts as in "8 GT/s"; others leave the speed column empty.
    void addPciDeviceInfo(const std::string& name, Index package, int ioUnit, int channel,
                          const std::string& className, unsigned int domain, unsigned short bus,
                          unsigned short device, unsigned short function, int classCode, int attrA,
                          int attrB, int linkValueA, const std::string& linkSpeedA, int linkValueB,
                          const std::string& linkSpeedB, const std::string& extraText);
    /// Writes a mesh stop and an IO unit that hangs off it: a new row of each in every call, also
    /// for a tid that was given before. Does nothing before initIoTopologyLoading.
    void addIoUnitToTidMapping(Index package, int ioUnit, int tid);
    /// Writes all that was noted. Call it once: what was noted stays, a second call writes it
    /// again.
    void loadIoTopology();

    // ---- Steps of the topology phase ----

    /// Writes a row of dd_pci_device_info, and its class's row where the class is new. Key of the
    /// former.
    Index addPciDeviceRecord(const pci_device_info_t& device, Index package);
    /// Row of a class, which goes by its name alone; made with this code where it is new. -1 for
    /// the empty name.
    Index getPciClassKey(std::string className, int classCode);
    /// Writes a row of dd_io_channel_info. `pciDevice` is the device that stands for the channel,
    /// or -1. Its key.
    Index addIoChannelRecord(int channel, Index ioUnit, Index package, Index trafficSource,
                             Index pciDevice);
    /// Writes a row of dd_io_unit_info, with a traffic source of that name unless it is empty. Its
    /// key.
    Index addIoUnitRecord(int ioUnit, Index package, Index meshStop, const std::string& name);
    /// Row of dd_io_traffic_source. Places with the same set of addresses share the row of the
    /// first, with its name and package; an empty set gets a new row in every call.
    Index getIoTrafficSourceKey(const std::string& name, const pci_address_set_t& addresses,
                                Index package);
    /// Gives every mesh stop of the result its traffic source: the names of its units with devices,
    /// or else the numbers of its units. The last step of loadIoTopology.
    void addMeshStopTrafficSources();

    // ---- Event phase ----

    /// Reads the topology, which must be complete, and maps every event on every package. Where a
    /// name speaks of a unit, channel or mesh stop without a row, it gets one. `platformModel`
    /// tells which channel numbers stand for one channel. `db` must not be null; later calls do
    /// nothing.
    void initEventsMapping(const tb2::sptr_t<rowvault1::IDatabase>& db, int platformModel);

    /// Number in the name of a package. False, with `packageId` untouched, when it has none.
    bool getPackageIdByDbIndex(Index package, int& packageId) const;
    /// Row of dd_package with that number, -1 for none. Only after initEventsMapping.
    Index getPackageDbIndexById(int packageId) const;
    /// What the name of an event says. Outputs that it does not speak of keep their values; callers
    /// pass -1 in all three. Numbers too large for an int read as the largest one.
    void getIoAttrsForUncoreEvent(Index eventType, int& ioUnit, int& ioChannel, int& tid) const;
    /// Rows that an event on a package (by its number) stands for: -1 where there is none. Only
    /// after initEventsMapping.
    Index getIoChannelInfoDbIndexByEventTypeAndPackage(Index eventType, int packageNum) const;
    Index getIoUnitInfoDbIndexByEventTypeAndPackage(Index eventType, int packageNum) const;
    Index getMeshStopDbIndexByEventTypeAndPackage(Index eventType, int packageNum) const;
    /// Always -1, at any time: no event stands for a single PCI function.
    Index getPciDeviceDbIndexByEventTypeAndPackage(Index eventType, int packageNum) const;

    // ---- Steps of the event phase, in the order in which initEventsMapping takes them ----

    void fillPackageIdToDbIndexMap();
    void cacheIoUnitAndChannelKeys();
    void cacheMeshStopKeys();
    void fillPackageNumAndEventTypeToDbIndexMaps();

    /// Row of an IO unit; made, with the name "IOU" and its number, where there is none.
    Index getIoUnitKey(int ioUnit, Index package);
    /// Row of a channel; made, with the number as it is given, where there is none. Numbers that
    /// the platform model folds together share the row.
    Index getIoChannelKey(int channel, int ioUnit, Index package);
    /// Row of a mesh stop; made, without a traffic source, where there is none.
    Index getMeshStopKey(int tid, Index package);

protected:
    using table_t = tb2::sptr_t<rowvault1::IAttributeTable>;
    using package_and_number_t = std::pair<Index, std::int32_t>; ///< package row; unit or tid
    using channels_t = std::map<std::int32_t, pci_device_set_t>;
    using event_map_t = std::map<package_num_and_event_type_t, Index>;

    table_t m_packageTable;
    table_t m_pciDeviceInfoTable;
    table_t m_ioTrafficSourceTable;
    table_t m_ioChannelInfoTable;
    table_t m_uncoreEventTypeTable;
    table_t m_meshStopTable;
    table_t m_ioUnitInfoTable;
    table_t m_pciDeviceClassTable;

    std::map<package_and_number_t, channels_t> m_pciDevices;      ///< by unit: what was noted
    std::map<package_and_number_t, Index> m_ioUnitKeys;           ///< by unit
    std::map<package_and_number_t, Index> m_ioUnitMeshStops;      ///< by unit
    std::map<std::string, Index> m_pciClassKeys;                  ///< by name
    std::map<pci_address_set_t, Index> m_trafficSourceKeys;       ///< never of an empty set
    std::map<Index, pci_address_set_t> m_meshStopAddresses;       ///< behind all units of the stop
    std::map<Index, std::string> m_meshStopNames;                 ///< of its units with devices
    std::map<Index, std::vector<std::int32_t>> m_meshStopIoUnits; ///< in the order of the calls
    std::map<std::int32_t, Index> m_packageIdToDbIndex;
    std::map<io_channel_info_t, Index> m_ioChannelKeys;   ///< by folded channel number
    std::map<package_and_number_t, Index> m_meshStopKeys; ///< by tid; event phase only
    event_map_t m_ioChannelKeyByEvent;
    event_map_t m_ioUnitKeyByEvent;
    event_map_t m_meshStopKeyByEvent;

    std::int32_t m_platformModel = 0;
    bool m_eventsMappingInitialized = false;
    bool m_ioTopologyLoadingInitialized = false;

private:
    struct written_channel_t;

    void loadIoUnit(const package_and_number_t& unit, const channels_t& channels);
    written_channel_t writeDevices(const pci_device_set_t& devices, Index package);
    void nameIoUnit(Index ioUnitKey, Index package, const std::string& name,
                    const pci_address_set_t& addresses);
    void nameUnitsWithoutDevices();
    Index meshStopTrafficSource(Index meshStop, Index package);

    std::int32_t foldChannelNumber(std::int32_t channel, std::int32_t ioUnit) const;
    std::map<Index, std::int32_t> cacheIoUnitKeys();
    void mapEvent(const package_num_and_event_type_t& event, Index package);
    Index eventKey(const event_map_t& keys, Index eventType, int packageNum) const;
};

} // namespace samplefold_1
