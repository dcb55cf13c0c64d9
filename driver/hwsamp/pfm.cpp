#include "hwsamp/pfm.h"

#include <perfmon/pfmlib.h>
#include <perfmon/pfmlib_perf_event.h>

#include <string_view>

namespace samplefold::hwsamp {
namespace {

/// The part that processors of all models have in common.
constexpr std::string_view g_architecture = "ix86arch";

std::optional<pfm_pmu_info_t> infoOf(pfm_pmu_t pmu)
{
    pfm_pmu_info_t info{};
    info.size = sizeof info;
    if (pfm_get_pmu_info(pmu, &info) != PFM_SUCCESS) return std::nullopt;
    return info;
}

PmuDescription describe(const pfm_pmu_info_t& info)
{
    return {.name = info.name,
            .generalCounters = info.num_cntrs,
            .fixedCounters = info.num_fixed_cntrs};
}

} // namespace

Pfm::Pfm() : m_isReady(pfm_initialize() == PFM_SUCCESS) {}

Pfm::~Pfm()
{
    if (m_isReady) pfm_terminate();
}

std::optional<PmuDescription> Pfm::corePmu() const
{
    std::optional<PmuDescription> common;
    for (int number = PFM_PMU_NONE; m_isReady && number < PFM_PMU_MAX; ++number) {
        const auto info = infoOf(static_cast<pfm_pmu_t>(number));
        if (!info || !info->is_present || info->type != PFM_PMU_TYPE_CORE) continue;
        if (info->name != g_architecture) return describe(*info);
        common = describe(*info);
    }
    return common;
}

std::optional<EncodedEvent> Pfm::encode(const std::string& event) const
{
    if (!m_isReady) return std::nullopt;
    EncodedEvent encoded;
    encoded.attributes.size = sizeof encoded.attributes;
    pfm_perf_encode_arg_t argument{};
    argument.attr = &encoded.attributes;
    argument.size = sizeof argument;
    if (pfm_get_os_event_encoding(event.c_str(), PFM_PLM0 | PFM_PLM3, PFM_OS_PERF_EVENT_EXT,
                                  &argument) != PFM_SUCCESS)
        return std::nullopt;
    pfm_event_info_t details{};
    details.size = sizeof details;
    if (pfm_get_event_info(argument.idx, PFM_OS_PERF_EVENT_EXT, &details) == PFM_SUCCESS) {
        if (const auto info = infoOf(details.pmu)) {
            encoded.pmu = describe(*info);
            encoded.isUncore = info->type == PFM_PMU_TYPE_UNCORE;
        }
    }
    return encoded;
}

} // namespace samplefold::hwsamp
