#pragma once

#include "load/collector_command.h"
#include "load/load_info.h"
#include "perfdata/recording.h"

namespace samplefold::load {

/// Tells of a recording in the load_info view: the input, the machine with its processor, the
/// recorder and its command, and how many records of each type were read, by the kernel's names.
/// What the recording does not tell has no key. Throws StoreError. Loading thread only.
void storeRecordingInfo(LoadInfo& info, const perfdata::Recording& recording,
                        const CollectorCommand& command);

} // namespace samplefold::load
