// Decoding of features: one section or record at a time.
#pragma once

#include "perfdata/event_table.h"
#include "perfdata/features.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace samplefold::perfdata {

/// Decodes one feature into `features`; event names, ids and groups go to `events`. A feature that
/// is not decoded here is only listed as present. A malformed one is counted as broken, described
/// in `notes`, and leaves its part of `features` as it was.
void readFeature(std::uint32_t feature, std::span<const std::byte> bytes, Features& features,
                 EventTable& events, std::vector<std::string>& notes);

/// Decodes a BUILD_ID entry: a record of the stream or of the file's table. `body` starts after the
/// head. False when it is malformed.
[[nodiscard]] bool parseBuildId(std::uint16_t misc, std::span<const std::byte> body,
                                BuildIdRecord& record);

/// Copies a build-id record into an entry of the table.
[[nodiscard]] BuildId ownedBuildId(const BuildIdRecord& record);

/// "hostname", "cmdline", ... for messages; "feature N" for unknown ones.
[[nodiscard]] std::string featureName(std::uint32_t feature);

} // namespace samplefold::perfdata
