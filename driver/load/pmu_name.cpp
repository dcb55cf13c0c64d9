#include "load/pmu_name.h"

#include "session/processor.h"

#include <samplefold_1/platform_info.h>

namespace samplefold::load {
namespace {

constexpr std::uint32_t g_largestBaseFamily = 15;

std::string recordedPmuName(const perfdata::Features& features)
{
    for (const perfdata::PmuCaps& caps : features.pmuCaps) {
        // A machine with two kinds of cores names both; the larger ones stand for it.
        if (!caps.pmu.empty() && caps.pmu != "cpu" && caps.pmu != "cpu_core") continue;
        for (const auto& [name, value] : caps.caps) {
            if (name == "pmu_name") return value;
        }
    }
    return {};
}

} // namespace

std::string pmuNameOf(const perfdata::Features& features)
{
    std::string name = recordedPmuName(features);
    if (!name.empty()) return name;
    const auto processor = session::processorOf(features.cpuId);
    if (!processor || processor->family > g_largestBaseFamily) return {};
    samplefold_1::PlatformInfo platform;
    return platform.getPMU(processor->family, processor->model, processor->stepping);
}

} // namespace samplefold::load
