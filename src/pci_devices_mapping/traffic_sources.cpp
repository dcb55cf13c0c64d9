#include "common/table_access.h"
#include "pci_devices_mapping/topology_columns.h"
#include <samplefold_1/pci_devices_mapping.h>

#include <PORTA_2_18/assert.h>

namespace samplefold_1 {

using tb2::variant_t;

Index PciDevicesMapping::getIoTrafficSourceKey(const std::string& name,
                                               const pci_address_set_t& addresses, Index package)
{
    if (!addresses.empty()) {
        const auto known = m_trafficSourceKeys.find(addresses);
        if (known != m_trafficSourceKeys.end()) return known->second;
    }
    PORTA_ASSERT(!m_ioTrafficSourceTable.is_null());
    const rowvault1::OrphanRecord row = tables::newRow(m_ioTrafficSourceTable);
    row[traffic_source_column::name] = variant_t(name);
    row[traffic_source_column::addresses] = variant_t(pciAddressesToString(addresses));
    row[traffic_source_column::package] = tables::keyValue(package);
    const Index trafficSourceKey = tables::commit(row);
    PORTA_ASSERT(trafficSourceKey.exist());
    if (!addresses.empty()) m_trafficSourceKeys.emplace(addresses, trafficSourceKey);
    return trafficSourceKey;
}

} // namespace samplefold_1
