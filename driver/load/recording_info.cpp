#include "load/recording_info.h"

#include "load/pmu_name.h"
#include "load/record_type_name.h"
#include "load/version.h"
#include "session/processor.h"

namespace samplefold::load {
namespace {

void storeProcessor(LoadInfo& info, const perfdata::Features& features)
{
    info.set("cpu", features.cpuDesc);
    info.set("cpu_id", features.cpuId);
    if (const auto processor = session::processorOf(features.cpuId)) {
        info.set("cpu_family", std::to_string(processor->family));
        info.set("cpu_model", std::to_string(processor->model));
        info.set("cpu_stepping", std::to_string(processor->stepping));
    }
    info.set("pmu", pmuNameOf(features));
}

} // namespace

void storeRecordingInfo(LoadInfo& info, const perfdata::Recording& recording,
                        const CollectorCommand& command)
{
    const perfdata::Features& features = recording.features();
    info.set("samplefold_version", versionText());
    info.set("input", recording.name());
    info.set("architecture", recording.architecture());
    info.set("hostname", features.hostname);
    info.set("os_release", features.osRelease);
    info.set("recorder_version", features.version);
    storeProcessor(info, features);
    info.set("command_line", command.text);
    for (const perfdata::RecordCount& count : recording.counts())
        info.add("records " + recordTypeName(count.type), count.count);
}

} // namespace samplefold::load
