#include "topology/result_topology.h"

#include "topology/uncore_names.h"
#include "topology/uncore_ties.h"

namespace samplefold::topology {

TopologyCounts completeTopology(rowvault1::IResult& result, const TopologyInput* input,
                                session::QualityLog& quality)
{
    const auto db = result.database();
    const TopologyCounts counts = input != nullptr ? storeTopology(db, *input) : TopologyCounts();
    reportQuality(counts, quality);
    reportQuality(tieUncoreEvents(db, platformModel(result.info("cpu_id"))), quality);
    return counts;
}

TopologyCounts addTopology(rowvault1::IResult& result, const TopologyInput& input)
{
    session::QualityLog quality;
    const TopologyCounts counts = completeTopology(result, &input, quality);
    quality.store(result.database());
    return counts;
}

} // namespace samplefold::topology
