#include "common/table_access.h"
#include "pci_devices_mapping/topology_columns.h"
#include <samplefold_1/pci_devices_mapping.h>

#include <PORTA_2_18/assert.h>

#include <algorithm>
#include <iterator>

namespace samplefold_1 {
namespace {

using rowvault1::utils::variantToIndex;

/// A unit of a platform model in which several partition numbers stand for one channel.
struct fold_t {
    std::int32_t model;
    std::int32_t ioUnit;
    std::int32_t apart;  ///< the one channel that stays as it is
    std::int32_t folded; ///< what all others become
};

constexpr fold_t g_folds[] = {{85, 0, 0, 1}, {106, 5, 3, 0}, {108, 2, 3, 4}, {134, 1, 3, 4}};

} // namespace

std::int32_t PciDevicesMapping::foldChannelNumber(std::int32_t channel, std::int32_t ioUnit) const
{
    const auto fold = std::find_if(std::begin(g_folds), std::end(g_folds), [&](const fold_t& one) {
        return one.model == m_platformModel && one.ioUnit == ioUnit;
    });
    const bool stays = fold == std::end(g_folds) || channel == fold->apart;
    return stays ? channel : fold->folded;
}

Index PciDevicesMapping::getIoUnitKey(int ioUnit, Index package)
{
    const package_and_number_t place(package, ioUnit);
    const auto known = m_ioUnitKeys.find(place);
    if (known != m_ioUnitKeys.end()) return known->second;
    const Index key = addIoUnitRecord(ioUnit, package, Index(), tables::ioUnitName(ioUnit));
    m_ioUnitKeys.emplace(place, key);
    return key;
}

Index PciDevicesMapping::getIoChannelKey(int channel, int ioUnit, Index package)
{
    const io_channel_info_t place{package, ioUnit, foldChannelNumber(channel, ioUnit)};
    const auto known = m_ioChannelKeys.find(place);
    if (known != m_ioChannelKeys.end()) return known->second;
    const Index ioUnitKey = getIoUnitKey(ioUnit, package);
    const std::string name = tables::ioUnitName(ioUnit) + "\\Slot" + std::to_string(channel);
    const Index source = getIoTrafficSourceKey(name, pci_address_set_t(), package);
    const Index key = addIoChannelRecord(channel, ioUnitKey, package, source, Index());
    m_ioChannelKeys.emplace(place, key);
    return key;
}

void PciDevicesMapping::cacheIoUnitAndChannelKeys()
{
    const std::map<Index, std::int32_t> ioUnitIdByDbKey = cacheIoUnitKeys();
    tables::forEachRow(m_ioChannelInfoTable, [&](Index channelKey) {
        const rowvault1::ConstRecord acc(tables::row(m_ioChannelInfoTable, channelKey));
        PORTA_ASSERT(!acc.isNull());
        const Index package = variantToIndex(acc[io_channel_column::package]);
        const std::int32_t channel = tables::smallNumber(acc[io_channel_column::channel]);
        const Index ioUnitKey = variantToIndex(acc[io_channel_column::ioUnit]);
        PORTA_ASSERT(ioUnitIdByDbKey.find(ioUnitKey) != ioUnitIdByDbKey.end());
        const auto unit = ioUnitIdByDbKey.find(ioUnitKey);
        if (unit == ioUnitIdByDbKey.end()) return;
        m_ioChannelKeys.try_emplace(
            {package, unit->second, foldChannelNumber(channel, unit->second)}, channelKey);
    });
}

/// Fills the maps of units, and gives the unit number by the unit's row.
std::map<Index, std::int32_t> PciDevicesMapping::cacheIoUnitKeys()
{
    std::map<Index, std::int32_t> ioUnitIdByDbKey;
    tables::forEachRow(m_ioUnitInfoTable, [&](Index ioUnitKey) {
        const rowvault1::ConstRecord acc(tables::row(m_ioUnitInfoTable, ioUnitKey));
        PORTA_ASSERT(!acc.isNull());
        const Index package = variantToIndex(acc[io_unit_column::package]);
        const Index meshStop = variantToIndex(acc[io_unit_column::meshStop]);
        const std::int32_t ioUnit = tables::smallNumber(acc[io_unit_column::ioUnit]);
        m_ioUnitKeys.try_emplace({package, ioUnit}, ioUnitKey);
        m_ioUnitMeshStops.try_emplace({package, ioUnit}, meshStop);
        ioUnitIdByDbKey.emplace(ioUnitKey, ioUnit);
    });
    return ioUnitIdByDbKey;
}

} // namespace samplefold_1
