#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace samplefold::session {

/// What processor a recording was made on.
struct Processor {
    std::string vendor; ///< as CPUID gives it, "GenuineIntel"
    std::uint32_t family = 0;
    std::uint32_t model = 0;
    std::uint32_t stepping = 0;
};

/// The processor out of a recording's CPU identity, "GenuineIntel,6,85,7": vendor, then family,
/// model and stepping in decimal as the kernel counts them, extended parts included. Nothing for
/// any other text, such as those of other architectures.
std::optional<Processor> processorOf(std::string_view cpuId);

} // namespace samplefold::session
