#include "common/table_access.h"
#include "common/uncore_names.h"
#include "pci_devices_mapping/topology_columns.h"
#include <samplefold_1/pci_devices_mapping.h>

#include <PORTA_2_18/assert.h>

namespace samplefold_1 {
namespace {

using tb2::variant_t;

/// Writes the number at the start of a speed text; a text of another form leaves the column empty.
void writeLinkSpeed(const rowvault1::OrphanRecord& row, std::uint16_t column,
                    const std::string& speed)
{
    static const boost::regex pattern("(?<gts>([0-9]*[.])?[0-9]+) GT/s.*");
    boost::smatch groups;
    if (!boost::regex_match(speed, groups, pattern)) return;
    double gigatransfers = 0;
    uncore_names::readDecimal(groups["gts"].str(), gigatransfers);
    row[column] = variant_t(gigatransfers);
}

} // namespace

Index PciDevicesMapping::addPciDeviceRecord(const pci_device_info_t& device, Index package)
{
    PORTA_ASSERT(m_ioTopologyLoadingInitialized);
    const Index classKey = getPciClassKey(device.className, device.classCode);
    const rowvault1::OrphanRecord row = tables::newRow(m_pciDeviceInfoTable);
    row[pci_device_column::name] = variant_t(device.name);
    row[pci_device_column::package] = tables::keyValue(package);
    row[pci_device_column::deviceClass] = tables::keyValue(classKey);
    row[pci_device_column::address] = variant_t(device.address.text);
    row[pci_device_column::domain] = variant_t(device.address.domain);
    row[pci_device_column::bus] = variant_t(device.address.bus);
    row[pci_device_column::device] = variant_t(device.address.device);
    row[pci_device_column::function] = variant_t(device.address.function);
    row[pci_device_column::attrA] = variant_t(device.attrA);
    row[pci_device_column::attrB] = variant_t(device.attrB);
    row[pci_device_column::linkValueB] = variant_t(device.linkValueB);
    row[pci_device_column::linkValueA] = variant_t(device.linkValueA);
    row[pci_device_column::extraText] = variant_t(device.extraText);
    writeLinkSpeed(row, pci_device_column::linkSpeedB, device.linkSpeedB);
    writeLinkSpeed(row, pci_device_column::linkSpeedA, device.linkSpeedA);
    const Index pciDeviceInfoKey = tables::commit(row);
    PORTA_ASSERT(pciDeviceInfoKey.exist());
    return pciDeviceInfoKey;
}

Index PciDevicesMapping::getPciClassKey(std::string className, int classCode)
{
    PORTA_ASSERT(m_ioTopologyLoadingInitialized);
    if (className.empty()) return Index();
    const auto known = m_pciClassKeys.find(className);
    if (known != m_pciClassKeys.end()) return known->second;
    PORTA_ASSERT(m_pciDeviceClassTable);
    const rowvault1::OrphanRecord row = tables::newRow(m_pciDeviceClassTable);
    row[pci_class_column::name] = variant_t(className);
    row[pci_class_column::code] = variant_t(classCode);
    const Index classKey = tables::commit(row);
    PORTA_ASSERT(classKey.exist());
    m_pciClassKeys.emplace(std::move(className), classKey);
    return classKey;
}

} // namespace samplefold_1
