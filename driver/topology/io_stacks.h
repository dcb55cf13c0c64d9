#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace samplefold::topology {

/// An IO unit of a package.
struct IoStack {
    int package = 0;
    int unit = 0;

    auto operator<=>(const IoStack&) const = default;
};

/// IO units by domain and root bus.
using IoStacks = std::map<std::pair<std::uint32_t, std::uint16_t>, IoStack>;

/// The kernel's mapping of IO units to root buses: of each /sys/devices/uncore_iio_UNIT the files
/// dieN, which hold "DOMAIN:BUS" in hexadecimal (the kernel's documentation of its ABI, under
/// sysfs-devices-mapping). `root` stands for the directory / of the machine, or is its /sys; "/"
/// for this one. Dies count through all packages; /sys/devices/system/cpu tells which package has
/// which, and without that each die is a package of its own. Empty where the machine has no such
/// units. What cannot be read or makes no sense is left out. Any thread.
IoStacks readIoStacks(const std::string& root);

} // namespace samplefold::topology
