#pragma once

#include "perfdata/event.h"

#include <optional>
#include <string>
#include <string_view>

namespace samplefold::topology {

/// Whether a PMU, by the kernel's name for it, counts outside of the cores: "uncore_iio_3",
/// "uncore_imc", "amd_df".
bool isUncorePmu(std::string_view pmu);

/// Name of an uncore event in the form by which the library ties events to the platform
/// (docs/counting.md has the table of forms). `pmu` is the kernel's name of the unit,
/// "uncore_iio_3"; `event` the event's name in the recording: one of a list,
/// "unc_iio_data_req_of_cpu.mem_read.part2", or terms, "uncore_iio_3/event=0x83,ch_mask=0x04/". The
/// channel and the mesh stop come from the name, else from the bits of `attr`. Nothing for other
/// PMUs, and for units beyond 65535. The time goes with the length of the name. Any thread.
std::optional<std::string> uncoreEventName(std::string_view pmu, std::string_view event,
                                           const perfdata::EventAttr& attr);

/// The number of the link between packages that an event of such a name counts.
std::optional<int> linkOfEvent(std::string_view name);

/// The model by which the library folds channels, of a processor's id as recordings have it:
/// "GenuineIntel,6,85,7". 0 where no channel folds: another maker, another family, no such id.
int platformModel(std::string_view cpuId);

} // namespace samplefold::topology
