#include "common/table_access.h"
#include "pci_devices_mapping/hex_text.h"
#include "pci_devices_mapping/topology_columns.h"
#include <samplefold_1/pci_devices_mapping.h>

#include <PORTA_2_18/assert.h>

namespace samplefold_1 {
namespace {

using rowvault1::utils::variantToIndex;

constexpr std::int32_t g_bridge = 6; ///< PCI base class of bridges

/// What a unit is called: its channels' names, or its number.
std::string nameOfUnit(std::int32_t ioUnit, const std::set<std::string>& channelNames)
{
    if (channelNames.empty()) return tables::ioUnitName(ioUnit);
    std::string joined;
    for (const std::string& name : channelNames) {
        if (&name != &*channelNames.begin()) joined += ", ";
        joined += name;
    }
    return joined;
}

} // namespace

/// A channel whose devices have their rows.
struct PciDevicesMapping::written_channel_t {
    std::string name;
    pci_address_set_t addresses;
    Index representative; ///< the device that stands for it
};

void PciDevicesMapping::initIoTopologyLoading(const tb2::sptr_t<rowvault1::IDatabase>& db)
{
    PORTA_ASSERT(!db.is_null());
    m_pciDeviceInfoTable = tables::open(db, "dd_pci_device_info");
    PORTA_ASSERT(!m_pciDeviceInfoTable.is_null());
    m_ioTrafficSourceTable = tables::open(db, "dd_io_traffic_source");
    PORTA_ASSERT(!m_ioTrafficSourceTable.is_null());
    m_pciDeviceClassTable = tables::open(db, "dd_pci_device_class");
    PORTA_ASSERT(!m_pciDeviceClassTable.is_null());
    m_ioChannelInfoTable = tables::open(db, "dd_io_channel_info");
    PORTA_ASSERT(!m_ioChannelInfoTable.is_null());
    m_meshStopTable = tables::open(db, "dd_mesh_stop");
    PORTA_ASSERT(!m_meshStopTable.is_null());
    m_ioUnitInfoTable = tables::open(db, "dd_io_unit_info");
    PORTA_ASSERT(!m_ioUnitInfoTable.is_null());
    m_ioTopologyLoadingInitialized = true;
}

void PciDevicesMapping::addPciDeviceInfo(
    const std::string& name, Index package, int ioUnit, int channel, const std::string& className,
    unsigned int domain, unsigned short bus, unsigned short device, unsigned short function,
    int classCode, int attrA, int attrB, int linkValueA, const std::string& linkSpeedA,
    int linkValueB, const std::string& linkSpeedB, const std::string& extraText)
{
    const std::string text = deviceText(domain, bus, device) + "." + hexText(function, 1);
    m_pciDevices[{package, ioUnit}][channel].insert({name,
                                                     className,
                                                     {domain, bus, device, function, text},
                                                     classCode,
                                                     attrA,
                                                     attrB,
                                                     linkValueA,
                                                     linkSpeedA,
                                                     linkValueB,
                                                     linkSpeedB,
                                                     extraText});
}

void PciDevicesMapping::loadIoTopology()
{
    PORTA_ASSERT(m_ioTopologyLoadingInitialized);
    for (const auto& [unit, channels] : m_pciDevices)
        loadIoUnit(unit, channels);
    if (!m_meshStopIoUnits.empty()) nameUnitsWithoutDevices();
    addMeshStopTrafficSources();
}

void PciDevicesMapping::loadIoUnit(const package_and_number_t& unit, const channels_t& channels)
{
    const auto& [package, ioUnit] = unit;
    const auto known = m_ioUnitKeys.find(unit);
    const Index ioUnitKey = known != m_ioUnitKeys.end()
                                ? known->second
                                : addIoUnitRecord(ioUnit, package, Index(), std::string());
    pci_address_set_t addresses;
    std::set<std::string> names;
    for (const auto& [number, devices] : channels) {
        written_channel_t channel = writeDevices(devices, package);
        const Index source = getIoTrafficSourceKey(channel.name, channel.addresses, package);
        addIoChannelRecord(number, ioUnitKey, package, source, channel.representative);
        addresses.merge(channel.addresses);
        names.insert(std::move(channel.name));
    }
    const std::string name = nameOfUnit(ioUnit, names);
    nameIoUnit(ioUnitKey, package, name, addresses);

    const auto meshStop = m_ioUnitMeshStops.find(unit);
    if (meshStop == m_ioUnitMeshStops.end()) return;
    std::string& meshStopName = m_meshStopNames[meshStop->second];
    if (!meshStopName.empty()) meshStopName += ", ";
    meshStopName += name;
    m_meshStopAddresses[meshStop->second].merge(addresses);
}

/// Writes the devices of one channel. A bridge in front of devices of one other class gives neither
/// its name to the channel nor its row; in front of anything else it gives its row alone.
PciDevicesMapping::written_channel_t
PciDevicesMapping::writeDevices(const pci_device_set_t& devices, Index package)
{
    written_channel_t channel;
    std::set<std::int32_t> classCodes;
    Index firstEndpointKey;
    auto firstEndpoint = devices.end();
    for (auto device = devices.begin(); device != devices.end(); ++device) {
        const Index key = addPciDeviceRecord(*device, package);
        channel.addresses.insert(device->address);
        classCodes.insert(device->classCode);
        if (!channel.representative.exist()) channel.representative = key;
        if (device->classCode != g_bridge && !firstEndpointKey.exist()) {
            firstEndpointKey = key;
            firstEndpoint = device;
        }
    }
    auto firstNamed = devices.begin();
    if (firstNamed != devices.end() && firstNamed->classCode == g_bridge) {
        const bool oneOtherClass = classCodes.size() == 2;
        firstNamed = oneOtherClass ? firstEndpoint : std::next(firstNamed);
        if (oneOtherClass) channel.representative = firstEndpointKey;
    }
    getTrafficSourceName(firstNamed, devices.end(), channel.name);
    return channel;
}

void PciDevicesMapping::nameIoUnit(Index ioUnitKey, Index package, const std::string& name,
                                   const pci_address_set_t& addresses)
{
    const Index source = getIoTrafficSourceKey(name, addresses, package);
    const rowvault1::StoredRecord ioUnitRecord(tables::row(m_ioUnitInfoTable, ioUnitKey));
    PORTA_ASSERT(!ioUnitRecord.isNull());
    ioUnitRecord[io_unit_column::trafficSource] = tables::keyValue(source);
}

/// For units that only mesh stops know of.
void PciDevicesMapping::nameUnitsWithoutDevices()
{
    tables::forEachRow(m_ioUnitInfoTable, [this](Index unit) {
        const rowvault1::StoredRecord acc(tables::row(m_ioUnitInfoTable, unit));
        PORTA_ASSERT(!acc.isNull());
        const tb2::variant_t number = acc[io_unit_column::ioUnit];
        const bool named = variantToIndex(acc[io_unit_column::trafficSource]).exist();
        if (named || !tables::isSmallNumber(number)) return;
        const Index source = getIoTrafficSourceKey(tables::ioUnitName(tables::smallNumber(number)),
                                                   pci_address_set_t(),
                                                   variantToIndex(acc[io_unit_column::package]));
        acc[io_unit_column::trafficSource] = tables::keyValue(source);
    });
}

} // namespace samplefold_1
