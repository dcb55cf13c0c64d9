#include "hwsamp/running_cpu.h"

#include "hwsamp/pfm.h"

#include <cpuid.h>

#include <array>
#include <cstring>
#include <fstream>

namespace samplefold::hwsamp {
namespace {

constexpr unsigned g_signatureLeaf = 1;
constexpr unsigned g_firstNameLeaf = 0x80000002;
constexpr unsigned g_lastNameLeaf = 0x80000004;

std::uint64_t signature()
{
    unsigned a = 0, b = 0, c = 0, d = 0;
    return __get_cpuid(g_signatureLeaf, &a, &b, &c, &d) != 0 ? a : 0;
}

/// As the processor tells it; 48 bytes at most.
std::string cpuName()
{
    std::string name;
    for (unsigned leaf = g_firstNameLeaf; leaf <= g_lastNameLeaf; ++leaf) {
        std::array<unsigned, 4> words{};
        if (__get_cpuid(leaf, &words[0], &words[1], &words[2], &words[3]) == 0) return {};
        std::array<char, sizeof words> letters{};
        std::memcpy(letters.data(), words.data(), sizeof words);
        name.append(letters.data(), letters.size());
    }
    name = name.substr(0, name.find('\0'));
    const std::size_t first = name.find_first_not_of(' ');
    if (first == std::string::npos) return {};
    return name.substr(first, name.find_last_not_of(' ') - first + 1);
}

/// Kinds of cores have PMUs of their own on hybrid processors; those of the big ones stand for all.
std::string kernelsPmuName(const std::string& sysfs)
{
    for (const char* const pmu : {"cpu", "cpu_core"}) {
        std::ifstream file(sysfs + "/bus/event_source/devices/" + pmu + "/caps/pmu_name");
        std::string name;
        if (std::getline(file, name) && !name.empty()) return name;
    }
    return {};
}

std::string pmuName(const std::string& sysfs)
{
    const std::string kernels = kernelsPmuName(sysfs);
    if (!kernels.empty()) return kernels;
    const Pfm pfm;
    const auto known = pfm.corePmu();
    return known ? known->name : g_unknownPmu;
}

} // namespace

Platform runningPlatform(const std::string& sysfs)
{
    return {.number = 0,
            .pmu = plainPmuName(pmuName(sysfs)),
            .signature = signature(),
            .cpuName = cpuName()};
}

} // namespace samplefold::hwsamp
