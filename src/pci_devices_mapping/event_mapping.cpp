#include "common/table_access.h"
#include <samplefold_1/pci_devices_mapping.h>

#include <PORTA_2_18/assert.h>

// The event phase: the rows behind each event on each package.
namespace samplefold_1 {

void PciDevicesMapping::initEventsMapping(const tb2::sptr_t<rowvault1::IDatabase>& db,
                                          int platformModel)
{
    if (m_eventsMappingInitialized) return;
    m_platformModel = platformModel;
    PORTA_ASSERT(!db.is_null());
    m_packageTable = tables::open(db, "dd_package");
    PORTA_ASSERT(!m_packageTable.is_null());
    m_ioTrafficSourceTable = tables::open(db, "dd_io_traffic_source");
    PORTA_ASSERT(!m_ioTrafficSourceTable.is_null());
    m_ioChannelInfoTable = tables::open(db, "dd_io_channel_info");
    PORTA_ASSERT(!m_ioChannelInfoTable.is_null());
    m_uncoreEventTypeTable = tables::open(db, "dd_uncore_event_type");
    PORTA_ASSERT(!m_uncoreEventTypeTable.is_null());
    m_meshStopTable = tables::open(db, "dd_mesh_stop");
    PORTA_ASSERT(!m_meshStopTable.is_null());
    m_ioUnitInfoTable = tables::open(db, "dd_io_unit_info");
    PORTA_ASSERT(!m_ioUnitInfoTable.is_null());

    fillPackageIdToDbIndexMap();
    cacheIoUnitAndChannelKeys();
    cacheMeshStopKeys();
    fillPackageNumAndEventTypeToDbIndexMaps();
    m_eventsMappingInitialized = true;
}

void PciDevicesMapping::fillPackageIdToDbIndexMap()
{
    tables::forEachRow(m_packageTable, [this](Index package) {
        int packageId = -1;
        if (getPackageIdByDbIndex(package, packageId))
            m_packageIdToDbIndex.try_emplace(packageId, package);
    });
}

void PciDevicesMapping::fillPackageNumAndEventTypeToDbIndexMaps()
{
    tables::forEachRow(m_packageTable, [this](Index package) {
        int packageNum = -1;
        if (!getPackageIdByDbIndex(package, packageNum)) return;
        tables::forEachRow(m_uncoreEventTypeTable, [&](Index eventType) {
            mapEvent({packageNum, eventType}, package);
        });
    });
}

void PciDevicesMapping::mapEvent(const package_num_and_event_type_t& event, Index package)
{
    int ioUnit = -1;
    int ioChannel = -1;
    int tid = -1;
    getIoAttrsForUncoreEvent(event.eventType, ioUnit, ioChannel, tid);
    Index channelKey;
    Index unitKey;
    Index meshStopKey;
    if (ioUnit >= 0) {
        if (ioChannel >= 0) channelKey = getIoChannelKey(ioChannel, ioUnit, package);
        unitKey = getIoUnitKey(ioUnit, package);
        const auto meshStop = m_ioUnitMeshStops.find({package, ioUnit});
        if (meshStop != m_ioUnitMeshStops.end()) meshStopKey = meshStop->second;
    }
    if (tid >= 0) meshStopKey = getMeshStopKey(tid, package);
    // Pairs come in ascending order as a rule, so that the end is where they belong.
    m_ioChannelKeyByEvent.try_emplace(m_ioChannelKeyByEvent.end(), event, channelKey);
    m_ioUnitKeyByEvent.try_emplace(m_ioUnitKeyByEvent.end(), event, unitKey);
    m_meshStopKeyByEvent.try_emplace(m_meshStopKeyByEvent.end(), event, meshStopKey);
}

Index PciDevicesMapping::getPackageDbIndexById(int packageId) const
{
    PORTA_ASSERT(m_eventsMappingInitialized);
    const auto found = m_packageIdToDbIndex.find(packageId);
    return found != m_packageIdToDbIndex.end() ? found->second : Index();
}

Index PciDevicesMapping::getIoChannelInfoDbIndexByEventTypeAndPackage(Index eventType,
                                                                      int packageNum) const
{
    return eventKey(m_ioChannelKeyByEvent, eventType, packageNum);
}

Index PciDevicesMapping::getIoUnitInfoDbIndexByEventTypeAndPackage(Index eventType,
                                                                   int packageNum) const
{
    return eventKey(m_ioUnitKeyByEvent, eventType, packageNum);
}

Index PciDevicesMapping::getMeshStopDbIndexByEventTypeAndPackage(Index eventType,
                                                                 int packageNum) const
{
    return eventKey(m_meshStopKeyByEvent, eventType, packageNum);
}

Index PciDevicesMapping::getPciDeviceDbIndexByEventTypeAndPackage(Index, int) const
{
    return Index();
}

Index PciDevicesMapping::eventKey(const event_map_t& keys, Index eventType, int packageNum) const
{
    PORTA_ASSERT(m_eventsMappingInitialized);
    const auto found = keys.find({packageNum, eventType});
    return found != keys.end() ? found->second : Index();
}

} // namespace samplefold_1
