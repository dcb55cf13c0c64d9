#include "common/table_access.h"
#include "pci_devices_mapping/topology_columns.h"
#include <samplefold_1/pci_devices_mapping.h>

#include <PORTA_2_18/assert.h>

namespace samplefold_1 {
namespace {

using rowvault1::utils::variantToIndex;
using tb2::variant_t;

std::string unitNames(const std::vector<std::int32_t>& ioUnits)
{
    std::string names;
    for (const std::int32_t ioUnit : ioUnits) {
        if (!names.empty()) names += ", ";
        names += tables::ioUnitName(ioUnit);
    }
    return names;
}

} // namespace

void PciDevicesMapping::addIoUnitToTidMapping(Index package, int ioUnit, int tid)
{
    if (!m_ioTopologyLoadingInitialized) return;
    const rowvault1::OrphanRecord row = tables::newRow(m_meshStopTable);
    row[mesh_stop_column::tid] = variant_t(tid);
    row[mesh_stop_column::package] = tables::keyValue(package);
    const Index meshStopKey = tables::commit(row);
    PORTA_ASSERT(meshStopKey.exist());

    const Index ioUnitKey = addIoUnitRecord(ioUnit, package, meshStopKey, std::string());
    m_ioUnitKeys.try_emplace({package, ioUnit}, ioUnitKey);
    m_ioUnitMeshStops.try_emplace({package, ioUnit}, meshStopKey);
    m_meshStopIoUnits[meshStopKey].push_back(ioUnit);
}

void PciDevicesMapping::addMeshStopTrafficSources()
{
    PORTA_ASSERT(m_ioTopologyLoadingInitialized);
    tables::forEachRow(m_meshStopTable, [this](Index meshStop) {
        const rowvault1::StoredRecord acc(tables::row(m_meshStopTable, meshStop));
        PORTA_ASSERT(!acc.isNull());
        const Index package = variantToIndex(acc[mesh_stop_column::package]);
        acc[mesh_stop_column::trafficSource] =
            tables::keyValue(meshStopTrafficSource(meshStop, package));
    });
}

Index PciDevicesMapping::meshStopTrafficSource(Index meshStop, Index package)
{
    const auto addresses = m_meshStopAddresses.find(meshStop);
    const auto name = m_meshStopNames.find(meshStop);
    if (addresses != m_meshStopAddresses.end() && name != m_meshStopNames.end())
        return getIoTrafficSourceKey(name->second, addresses->second, package);
    const auto ioUnits = m_meshStopIoUnits.find(meshStop);
    return getIoTrafficSourceKey(ioUnits != m_meshStopIoUnits.end() ? unitNames(ioUnits->second)
                                                                    : std::string(),
                                 pci_address_set_t(), package);
}

Index PciDevicesMapping::getMeshStopKey(int tid, Index package)
{
    const package_and_number_t place(package, tid);
    const auto known = m_meshStopKeys.find(place);
    if (known != m_meshStopKeys.end()) return known->second;
    const rowvault1::OrphanRecord meshStopRec = tables::newRow(m_meshStopTable);
    PORTA_ASSERT(!meshStopRec.isNull());
    meshStopRec[mesh_stop_column::package] = tables::keyValue(package);
    meshStopRec[mesh_stop_column::tid] = variant_t(tid);
    const Index meshStopKey = tables::commit(meshStopRec);
    m_meshStopKeys.emplace(place, meshStopKey);
    return meshStopKey;
}

void PciDevicesMapping::cacheMeshStopKeys()
{
    tables::forEachRow(m_meshStopTable, [this](Index meshStop) {
        const rowvault1::ConstRecord acc(tables::row(m_meshStopTable, meshStop));
        PORTA_ASSERT(!acc.isNull());
        const Index package = variantToIndex(acc[mesh_stop_column::package]);
        const std::int32_t tid = tables::smallNumber(acc[mesh_stop_column::tid]);
        m_meshStopKeys.try_emplace({package, tid}, meshStop);
    });
}

} // namespace samplefold_1
