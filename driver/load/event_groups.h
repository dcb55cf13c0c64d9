#pragma once

#include "session/quality_log.h"

#include <rowvault1/result.h>

#include <string>

namespace samplefold::load {

/// Keeps as "muxGroupCount" of the result in how many groups the core events were multiplexed,
/// where the collector left "hwsamp.events" in the folder of the input. A file that cannot be read
/// is told in the quality counts. `input` is a path, or - for standard input, which has no folder.
/// Loading thread only.
void storeEventGroups(rowvault1::IResult& store, const std::string& input,
                      session::QualityLog& quality);

} // namespace samplefold::load
