#pragma once

#include "session/quality_log.h"
#include "topology/topology_loader.h"

#include <rowvault1/result.h>

namespace samplefold::topology {

/// Both phases on a result: stores the topology of `input`, where it is not null, and ties the
/// uncore events of the result to what it has. The model of the processor is that of the recording
/// (load_info, "cpu_id"). Throws TopologyExists before anything is written. Loading thread only.
TopologyCounts completeTopology(rowvault1::IResult& result, const TopologyInput* input,
                                session::QualityLog& quality);

/// The same for a result that was loaded before; what there is to be told becomes quality rows.
TopologyCounts addTopology(rowvault1::IResult& result, const TopologyInput& input);

} // namespace samplefold::topology
