#pragma once

#include "session/quality_log.h"

#include <rowvault1/database.h>

#include <cstdint>

namespace samplefold::topology {

/// What tying made of the uncore events of a result.
struct TieCounts {
    std::uint64_t events = 0;      ///< uncore events of the result
    std::uint64_t tied = 0;        ///< pairs of event and package that stand for a place
    std::uint64_t addedPlaces = 0; ///< IO units, channels, mesh stops that only names tell of
    bool withoutTopology = false;  ///< there is none yet: links alone were tied
    bool tooMany = false;          ///< more pairs than are taken: nothing was tied
};

/// Ties each uncore event on each package to its IO channel, IO unit, mesh stop and link: rows of
/// dd_uncore_event_place. Pairs that stand for nothing get none. A result without a topology has
/// its links tied only, since rows that names alone make would stand before those of the topology;
/// call it again when that is there. Of a link and package there is one row of dd_xlk_link_info,
/// however often this is called. `platformModel` is as for PciDevicesMapping. Loading thread only.
TieCounts tieUncoreEvents(const tb2::sptr_t<rowvault1::IDatabase>& db, int platformModel);

/// What the user should know of it.
void reportQuality(const TieCounts& counts, session::QualityLog& quality);

} // namespace samplefold::topology
