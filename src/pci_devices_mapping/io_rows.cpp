#include "common/table_access.h"
#include "pci_devices_mapping/topology_columns.h"
#include <samplefold_1/pci_devices_mapping.h>

#include <PORTA_2_18/assert.h>

namespace samplefold_1 {

using tb2::variant_t;

Index PciDevicesMapping::addIoChannelRecord(int channel, Index ioUnit, Index package,
                                            Index trafficSource, Index pciDevice)
{
    PORTA_ASSERT(!m_ioChannelInfoTable.is_null());
    const rowvault1::OrphanRecord row = tables::newRow(m_ioChannelInfoTable);
    row[io_channel_column::channel] = variant_t(channel);
    row[io_channel_column::ioUnit] = tables::keyValue(ioUnit);
    row[io_channel_column::package] = tables::keyValue(package);
    row[io_channel_column::trafficSource] = tables::keyValue(trafficSource);
    row[io_channel_column::pciDevice] = tables::keyValue(pciDevice);
    const Index ioChannelKey = tables::commit(row);
    PORTA_ASSERT(ioChannelKey.exist());
    return ioChannelKey;
}

Index PciDevicesMapping::addIoUnitRecord(int ioUnit, Index package, Index meshStop,
                                         const std::string& name)
{
    PORTA_ASSERT(!m_ioUnitInfoTable.is_null());
    const Index trafficSource =
        name.empty() ? Index() : getIoTrafficSourceKey(name, pci_address_set_t(), package);
    const rowvault1::OrphanRecord row = tables::newRow(m_ioUnitInfoTable);
    row[io_unit_column::ioUnit] = variant_t(ioUnit);
    row[io_unit_column::package] = tables::keyValue(package);
    row[io_unit_column::meshStop] = tables::keyValue(meshStop);
    row[io_unit_column::trafficSource] = tables::keyValue(trafficSource);
    const Index ioUnitKey = tables::commit(row);
    PORTA_ASSERT(ioUnitKey.exist());
    return ioUnitKey;
}

} // namespace samplefold_1
