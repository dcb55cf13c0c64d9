#include "load/event_groups.h"

#include <samplefold_1/utils_mux_groups.h>

#include <filesystem>

namespace samplefold::load {
namespace {

using std::filesystem::path;

/// Something else of that name, such as a pipe, might never end.
bool isFile(const path& file)
{
    std::error_code error;
    return is_regular_file(file, error);
}

} // namespace

void storeEventGroups(rowvault1::IResult& store, const std::string& input,
                      session::QualityLog& quality)
{
    if (input == "-") return;
    const path folder = path(input).parent_path();
    const path directory = folder.empty() ? path(".") : folder;
    if (!isFile(directory / "hwsamp.events")) return;
    const tb2::error_code_t outcome =
        samplefold_1::utils::populateCoreMuxGroups(directory.string(), store.perfDatabase());
    quality.add("files of event groups that could not be read", outcome.succeeded() ? 0 : 1,
                "hwsamp.events in the folder of the recording: mend or remove it",
                session::Severity::error);
}

} // namespace samplefold::load
