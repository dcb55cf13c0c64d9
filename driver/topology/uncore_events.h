#pragma once

#include "perfdata/recording.h"
#include "session/attribute_rows.h"
#include "session/quality_log.h"
#include "topology/package_rows.h"

#include <rowvault1/database.h>

#include <string>

namespace samplefold::topology {

/// What a recording tells of the platform: which of its events are of the uncore, and the packages
/// of its CPUs.
struct RecordedPlatform {
    session::PlatformRows rows; ///< for AttributeRows
    bool hasUncoreEvents = false;
};

/// Writes a row of dd_uncore_event_type for each uncore event, named by uncoreEventName, and one of
/// dd_package for each package of the recording's CPUs. Where the recording does not tell of
/// packages and has uncore events, `sysfsRoot` is asked (empty: nothing), else all CPUs count as of
/// one package, which the quality log tells. Loading thread only.
RecordedPlatform storePlatform(const tb2::sptr_t<rowvault1::IDatabase>& db,
                               const perfdata::Recording& recording, const std::string& sysfsRoot,
                               session::QualityLog& quality);

} // namespace samplefold::topology
