#include <samplefold_1/platform_info.h>

#include "common/component_log.h"
#include "platform_info/pipe_callback.h"
#include "platform_info/platform_lines.h"

#include <optbook2/product_locations.h>

namespace samplefold_1 {
namespace {

ComponentLog g_log;

constexpr const char* g_tool = "hwsamp";
constexpr const char* g_listPlatforms = "-pl";
constexpr int g_standardOutput = 1;

std::uint32_t familyOf(std::uint64_t signature)
{
    return static_cast<std::uint32_t>((signature >> 8) & 0xf);
}

std::uint32_t modelOf(std::uint64_t signature)
{
    return static_cast<std::uint32_t>(((signature >> 16) & 0xf) << 4 | ((signature >> 4) & 0xf));
}

} // namespace

bool PlatformInfo::init()
{
    if (m_initialized) return true;
    using optbook2::IProductLocations;
    const auto binDir = IProductLocations::get().getToolDirectory(IProductLocations::getArch());
    SF_CHECK(g_log, binDir.has_value(), "binDir != __null", false);
    const auto process = tb2::process::IProcess::create();
    SF_CHECK(g_log, !process.is_null(), "process", false);
    const tb2::process::arguments_t arguments{g_listPlatforms};
    const tb2::sptr_t<tb2::process::IPipeReaderCallback> outPipeCallback =
        tb2::make_counted<PipeCallback>();
    SF_CHECK(g_log, !outPipeCallback.is_null(), "outPipeCallback", false);
    const bool isOutRegistered =
        process->setPipeReader(g_standardOutput, outPipeCallback).succeeded();
    SF_CHECK(g_log, isOutRegistered, "isOutRegistered", false);
    // What went wrong with the start is what the join returns.
    static_cast<void>(process->start(g_tool, arguments, nullptr, *binDir, 1, 0, 1));
    SF_CHECK(g_log, process->join().succeeded(), "process->join().succeeded()", false);
    const auto* const outCallback = dynamic_cast<const PipeCallback*>(outPipeCallback.get());
    SF_CHECK(g_log, outCallback != nullptr, "outCallback != __null", false);
    const std::string& output = outCallback->m_output;
    SF_CHECK(g_log, !output.empty(), "!output.empty()", false);
    m_pmuSignatures = platformsOf(output);
    m_initialized = true;
    return true;
}

std::string PlatformInfo::getPMU(std::uint32_t family, std::uint32_t model,
                                 std::uint32_t /*stepping*/)
{
    if (!init()) return {};
    for (const PmuSignature& known : m_pmuSignatures)
        if (family == familyOf(known.signature) && model == modelOf(known.signature))
            return known.pmu;
    return {};
}

} // namespace samplefold_1
