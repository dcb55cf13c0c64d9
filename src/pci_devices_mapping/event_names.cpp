#include "common/table_access.h"
#include "common/uncore_names.h"
#include "pci_devices_mapping/topology_columns.h"
#include <samplefold_1/pci_devices_mapping.h>

#include <PORTA_2_18/assert.h>

// What names of packages and uncore events say.
namespace samplefold_1 {
namespace {

using rowvault1::utils::variantToString;
using uncore_names::textOf;

void readTid(const boost::csub_match& group, int& tid)
{
    if (!group.matched) return;
    unsigned int number = 0;
    uncore_names::readHexNumber(textOf(group), number);
    tid = static_cast<int>(number);
}

} // namespace

const boost::regex PciDevicesMapping::m_pciEventPattern(
    R"(^(?<eventType>\w+?_\w+?)_.*?(PART(?<partNum>\d+))?(:tid=0[xX](?<tid>[0-9a-fA-F]+))?\[UNIT(?<unitNum>\d+)\]$)");

const boost::regex PciDevicesMapping::m_packageNamePattern(R"(^.*_(?<packageNum>\d+)$)");

bool PciDevicesMapping::getPackageIdByDbIndex(Index package, int& packageId) const
{
    const rowvault1::ConstRecord packageAcc(tables::row(m_packageTable, package));
    PORTA_ASSERT(!packageAcc.isNull());
    const std::string name = variantToString(packageAcc[package_column::name]);
    boost::cmatch groups;
    if (!uncore_names::matchPackage(name, m_packageNamePattern, groups)) return false;
    uncore_names::readNumber(textOf(groups["packageNum"]), packageId);
    return true;
}

void PciDevicesMapping::getIoAttrsForUncoreEvent(Index eventType, int& ioUnit, int& ioChannel,
                                                 int& tid) const
{
    const rowvault1::ConstRecord event(tables::row(m_uncoreEventTypeTable, eventType));
    const std::string name = variantToString(event[uncore_event_column::name]);
    boost::cmatch groups;
    if (!uncore_names::matchEvent(name, m_pciEventPattern, groups)) return;
    const std::string_view type = textOf(groups["eventType"]);
    const std::string_view unit = textOf(groups["unitNum"]);
    if (type == "UNC_IIO") {
        // Behind a unit number that is too large nothing more is read.
        if (uncore_names::readNumber(unit, ioUnit))
            uncore_names::readNumber(textOf(groups["partNum"]), ioChannel);
    } else if (type == "UNC_I") {
        uncore_names::readNumber(unit, ioUnit);
    } else if (type == "UNC_CHA") {
        readTid(groups["tid"], tid);
    }
}

} // namespace samplefold_1
