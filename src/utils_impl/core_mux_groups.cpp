#include <samplefold_1/utils_mux_groups.h>

#include "common/component_log.h"
#include "utils_impl/group_lines.h"

#include <toolbelt2/path.h>
#include <toolbelt2/status.h>

#include <fstream>

namespace samplefold_1::utils {
namespace {

ComponentLog g_log;

constexpr const char* g_fileName = "hwsamp.events";
constexpr const char* g_valueName = "muxGroupCount";
constexpr std::size_t g_lineLimit = std::size_t{64} << 10;
const tb2::error_code_t g_noFile(1);

/// A group number may be anything that somebody wrote; what is beyond 32 bits is cut.
tb2::variant_t countUpTo(std::int64_t highest)
{
    return tb2::variant_t(static_cast<std::int32_t>(static_cast<std::uint64_t>(highest) + 1));
}

} // namespace

#define SF_RAISED(code, text) tb2::error_code_t::raise(code, text, __FILE__, __LINE__)

tb2::error_code_t populateCoreMuxGroups(const std::string& directory,
                                        const tb2::sptr_t<rowvault1::IPerfDatabase>& database)
{
    tb2::path_t path(directory);
    bool bRet = path.append(g_fileName);
    SF_CHECK(g_log, bRet, "bRet",
             SF_RAISED(tb2::status::missingObject, "tb2::error::FailedTo.Get.The.Object"));
    if (!path.exists()) return g_noFile;

    std::ifstream inStream(path.as_string());
    const std::string cannotOpen = "tb2::error::FailedTo.Open.The.File(" + path.as_string() + ")";
    SF_CHECK(g_log, inStream.is_open(), "inStream.is_open()",
             SF_RAISED(tb2::status::cannotRead, cannotOpen));
    CoreGroups groups;
    for (std::string line; readLine(inStream, line, g_lineLimit);)
        groups.take(line);
    // A folder opens and cannot be read.
    SF_CHECK(g_log, !inStream.bad(), "!inStream.bad()",
             SF_RAISED(tb2::status::cannotRead, cannotOpen));

    const tb2::sptr_t<rowvault1::IContextManager> contextMgr = database->getContextManager();
    SF_CHECK(g_log, !contextMgr.is_null(), "contextMgr",
             SF_RAISED(tb2::status::missingObject, "tb2::error::FailedTo.Get.The.Object"));
    bRet = contextMgr->setValue(g_valueName, countUpTo(groups.highest()));
    SF_CHECK(g_log, bRet, "bRet",
             SF_RAISED(tb2::status::cannotWrite, "tb2::error::FailedTo.Set.The.Object"));
    return {};
}

} // namespace samplefold_1::utils
