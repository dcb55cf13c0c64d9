#pragma once

#include <samplefold_1/platform_info.h>

#include <string_view>
#include <vector>

namespace samplefold_1 {

/// The platforms that a tool's output tells of, that of the last line first. Other lines, and those
/// without a PMU or of an unknown one, are left out.
std::vector<PlatformInfo::PmuSignature> platformsOf(std::string_view output);

} // namespace samplefold_1
