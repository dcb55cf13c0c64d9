#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

namespace samplefold::hwsamp {

inline constexpr const char* g_unknownPmu = "Unknown";

/// A processor model and its PMU.
struct Platform {
    int number = 0; ///< 0 is the running processor
    std::string pmu;
    std::uint64_t signature = 0; ///< EAX of CPUID leaf 1
    std::string cpuName;

    friend bool operator==(const Platform&, const Platform&) = default;
};

/// True for a name of letters, digits and underscores, as readers of platform lines take it.
bool isPlainPmuName(std::string_view name);
/// The name with an underscore in place of every other character.
std::string plainPmuName(std::string_view name);

/// Writes "Platform: N, PMU: NAME, Signature: 0xHEX, CPU name: TEXT" with its newline. Control
/// characters of the text become blanks; an empty one is written as "unknown", since readers want
/// something there.
void writePlatform(std::ostream& out, const Platform& platform);

} // namespace samplefold::hwsamp
