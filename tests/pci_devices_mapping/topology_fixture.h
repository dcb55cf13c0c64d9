#pragma once

#include "support/assertion_recorder.h"
#include "support/scratch_result.h"

#include <samplefold_1/pci_devices_mapping.h>

#include <gtest/gtest.h>

namespace samplefold_test {

using rowvault1::Index;
using samplefold_1::pci_address_set_t;
using samplefold_1::pci_address_t;
using samplefold_1::pci_device_info_t;
using samplefold_1::pci_device_set_t;
using tb2::variant_t;

/// A mapping whose maps can be looked at.
class OpenMapping : public samplefold_1::PciDevicesMapping {
public:
    using PciDevicesMapping::m_eventsMappingInitialized;
    using PciDevicesMapping::m_ioChannelInfoTable;
    using PciDevicesMapping::m_ioChannelKeyByEvent;
    using PciDevicesMapping::m_ioChannelKeys;
    using PciDevicesMapping::m_ioTopologyLoadingInitialized;
    using PciDevicesMapping::m_ioTrafficSourceTable;
    using PciDevicesMapping::m_ioUnitInfoTable;
    using PciDevicesMapping::m_ioUnitKeyByEvent;
    using PciDevicesMapping::m_ioUnitKeys;
    using PciDevicesMapping::m_ioUnitMeshStops;
    using PciDevicesMapping::m_meshStopAddresses;
    using PciDevicesMapping::m_meshStopIoUnits;
    using PciDevicesMapping::m_meshStopKeyByEvent;
    using PciDevicesMapping::m_meshStopKeys;
    using PciDevicesMapping::m_meshStopNames;
    using PciDevicesMapping::m_meshStopTable;
    using PciDevicesMapping::m_packageIdToDbIndex;
    using PciDevicesMapping::m_packageTable;
    using PciDevicesMapping::m_pciClassKeys;
    using PciDevicesMapping::m_pciDeviceClassTable;
    using PciDevicesMapping::m_pciDeviceInfoTable;
    using PciDevicesMapping::m_pciDevices;
    using PciDevicesMapping::m_platformModel;
    using PciDevicesMapping::m_trafficSourceKeys;
    using PciDevicesMapping::m_uncoreEventTypeTable;
};

/// A function, with what most tests do not look at left out.
struct device_t {
    std::string name;
    unsigned short bus = 0;
    unsigned short device = 0;
    unsigned short function = 0;
    int classCode = 2;
    std::string className = "network";
    std::string speedA{};
    std::string speedB{};
};

/// The topology over a result on disk, with package rows 1 (number 0) and 2 (number 1).
class TopologyTest : public testing::Test {
protected:
    TopologyTest()
    {
        scratch.addNamed("dd_package", "package_0");
        scratch.addNamed("dd_package", "package_1");
    }
    ~TopologyTest() override { EXPECT_EQ(lines_t{}, assertions.take()) << "unexpected assertions"; }

    void open() { mapping.initIoTopologyLoading(scratch.db()); }
    void add(Index package, int ioUnit, int channel, const device_t& one)
    {
        mapping.addPciDeviceInfo(one.name, package, ioUnit, channel, one.className, 0, one.bus,
                                 one.device, one.function, one.classCode, 0, 0, 0, one.speedA, 0,
                                 one.speedB, "");
    }
    Index event(const std::string& name) const
    {
        return scratch.addNamed("dd_uncore_event_type", name);
    }
    lines_t channels() const { return scratch.rows("dd_io_channel_info", 5); }
    lines_t ioUnits() const { return scratch.rows("dd_io_unit_info", 4); }
    lines_t meshStops() const { return scratch.rows("dd_mesh_stop", 3); }
    lines_t sources() const { return scratch.rows("dd_io_traffic_source", 4); }

    static constexpr Index g_package{1};
    static constexpr Index g_otherPackage{2};

    AssertionRecorder assertions;
    ScratchResult scratch;
    OpenMapping mapping;
};

} // namespace samplefold_test
