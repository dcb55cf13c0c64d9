#pragma once

#include "hwsamp/platform.h"

#include <string>

namespace samplefold::hwsamp {

/// The processor that this program runs on, as platform 0. Its PMU has the kernel's name
/// (/sys/bus/event_source/devices/cpu*/caps/pmu_name below `sysfs`), or libpfm4's where the kernel
/// has none, or is "Unknown".
Platform runningPlatform(const std::string& sysfs = "/sys");

} // namespace samplefold::hwsamp
