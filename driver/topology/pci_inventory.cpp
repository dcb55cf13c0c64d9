#include "topology/pci_inventory.h"

#include "topology/pci_access.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <sys/stat.h>
#include <tuple>

namespace samplefold::topology {
namespace {

/// What a function tells, without any object, so that an error of libpci may leave half-way.
struct RawFunction {
    std::uint32_t domain;
    std::uint16_t bus, device, function, classCode, vendorId, deviceId;
    bool isBridge;
    std::uint8_t secondaryBus, subordinateBus;
    bool hasLink;
    std::uint32_t linkCapabilities;
    std::uint16_t linkStatus;
    char name[512], className[256], subsystem[512];
};

/// Speeds by their number in the registers of PCI Express; the rest are not known.
constexpr std::array<const char*, 7> g_speeds{"",        "2.5 GT/s", "5 GT/s", "8 GT/s",
                                              "16 GT/s", "32 GT/s",  "64 GT/s"};

/// Names come from pci.ids alone. The database of udev is another one on each machine, and each
/// question to it without one costs memory that is not given back.
constexpr int g_byFile = PCI_LOOKUP_NO_HWDB;

/// Speed and lanes stand at the same bits in both registers.
PciLink linkOf(std::uint32_t word)
{
    const std::uint32_t speed = word & PCI_EXP_LNKCAP_SPEED;
    PciLink link;
    if (speed < g_speeds.size()) link.speed = g_speeds[speed];
    link.lanes = static_cast<int>((word & PCI_EXP_LNKCAP_WIDTH) >> 4);
    return link;
}

void readNames(pci_access* access, pci_dev* dev, RawFunction& raw)
{
    pci_lookup_name(access, raw.name, sizeof raw.name,
                    PCI_LOOKUP_VENDOR | PCI_LOOKUP_DEVICE | g_byFile, dev->vendor_id,
                    dev->device_id);
    pci_lookup_name(access, raw.className, sizeof raw.className, PCI_LOOKUP_CLASS | g_byFile,
                    dev->device_class);
    const unsigned vendor = pci_read_word(dev, PCI_SUBSYSTEM_VENDOR_ID);
    const unsigned system = pci_read_word(dev, PCI_SUBSYSTEM_ID);
    const bool hasSubsystem = !raw.isBridge && vendor != 0 && vendor != 0xffff;
    if (!hasSubsystem) return;
    pci_lookup_name(access, raw.subsystem, sizeof raw.subsystem,
                    PCI_LOOKUP_SUBSYSTEM | PCI_LOOKUP_VENDOR | PCI_LOOKUP_DEVICE | g_byFile,
                    dev->vendor_id, dev->device_id, vendor, system);
}

void readLink(pci_dev* dev, RawFunction& raw)
{
    const pci_cap* const express = pci_find_cap(dev, PCI_CAP_ID_EXP, PCI_CAP_NORMAL);
    if (express == nullptr) return;
    raw.hasLink = true;
    raw.linkCapabilities = pci_read_long(dev, static_cast<int>(express->addr) + PCI_EXP_LNKCAP);
    raw.linkStatus = pci_read_word(dev, static_cast<int>(express->addr) + PCI_EXP_LNKSTA);
}

void readFunction(pci_access* access, pci_dev* dev, RawFunction& raw)
{
    raw = RawFunction{};
    pci_fill_info(dev, PCI_FILL_IDENT | PCI_FILL_CLASS | PCI_FILL_CAPS);
    raw.domain = static_cast<std::uint32_t>(dev->domain);
    raw.bus = dev->bus;
    raw.device = dev->dev;
    raw.function = dev->func;
    raw.classCode = dev->device_class;
    raw.vendorId = dev->vendor_id;
    raw.deviceId = dev->device_id;
    const unsigned header = pci_read_byte(dev, PCI_HEADER_TYPE) & 0x7fU;
    raw.isBridge = header == PCI_HEADER_TYPE_BRIDGE;
    if (raw.isBridge) {
        raw.secondaryBus = pci_read_byte(dev, PCI_SECONDARY_BUS);
        raw.subordinateBus = pci_read_byte(dev, PCI_SUBORDINATE_BUS);
    }
    readNames(access, dev, raw);
    readLink(dev, raw);
}

PciFunction functionOf(const RawFunction& raw)
{
    PciFunction function;
    function.domain = raw.domain;
    function.bus = raw.bus;
    function.device = raw.device;
    function.function = raw.function;
    function.name = raw.name;
    function.className = raw.className;
    function.subsystem = raw.subsystem;
    function.baseClass = raw.classCode >> 8;
    function.vendorId = raw.vendorId;
    function.deviceId = raw.deviceId;
    function.isBridge = raw.isBridge;
    if (raw.isBridge) {
        function.secondaryBus = raw.secondaryBus;
        function.subordinateBus = raw.subordinateBus;
    }
    if (raw.hasLink) {
        function.capable = linkOf(raw.linkCapabilities);
        function.running = linkOf(raw.linkStatus);
    }
    return function;
}

auto addressOf(const PciFunction& function)
{
    return std::tie(function.domain, function.bus, function.device, function.function);
}

/// `where` names the source in errors.
PciInventory readAll(PciAccess& access, const std::string& where)
{
    const auto check = [&](bool isDone) {
        if (!isDone) throw InventoryError(where + ": " + access.problem());
    };
    check(access.guarded([](pci_access* pci) {
        pci_init(pci);
        pci_scan_bus(pci);
    }));
    PciInventory inventory;
    RawFunction raw{};
    for (pci_dev* dev = access.get()->devices; dev != nullptr; dev = dev->next) {
        check(access.guarded([&raw, dev](pci_access* pci) { readFunction(pci, dev, raw); }));
        inventory.functions.push_back(functionOf(raw));
    }
    auto& functions = inventory.functions;
    // libpci lists what it found last first; of an address that comes again the first counts.
    std::ranges::reverse(functions);
    std::ranges::stable_sort(functions, [](const PciFunction& a, const PciFunction& b) {
        return addressOf(a) < addressOf(b);
    });
    const auto again = std::ranges::unique(
        functions, [](const auto& a, const auto& b) { return addressOf(a) == addressOf(b); });
    inventory.repeated = static_cast<std::size_t>(again.size());
    functions.erase(again.begin(), again.end());
    return inventory;
}

/// libpci opens what it is given, and would wait for a pipe.
void checkRegular(const std::string& path)
{
    constexpr off_t mostBytes = off_t{256} << 20;
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        throw InventoryError(path + ": cannot be opened: check the path and its permissions");
    if (!S_ISREG(status.st_mode)) throw InventoryError(path + ": is no regular file");
    if (status.st_size > mostBytes) throw InventoryError(path + ": is larger than 256 MiB");
}

} // namespace

PciInventory readLiveInventory()
{
    PciAccess access;
    return readAll(access, "PCI devices of this machine");
}

PciInventory readInventoryDump(const std::string& path)
{
    checkRegular(path);
    PciAccess access;
    access.get()->method = PCI_ACCESS_DUMP;
    std::string name = path;
    char parameter[] = "dump.name";
    pci_set_param(access.get(), parameter, name.data());
    PciInventory inventory = readAll(access, path);
    if (inventory.functions.empty())
        throw InventoryError(path + ": holds no PCI functions: make it with lspci -xxxx");
    return inventory;
}

} // namespace samplefold::topology
