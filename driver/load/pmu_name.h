#pragma once

#include "perfdata/features.h"

#include <string>

namespace samplefold::load {

/// Name of the PMU of the recorded CPUs: what the recording tells of its capabilities; where it
/// tells nothing, what the tool hwsamp knows of the family and model. Families beyond 15 differ
/// only in a part of the signature that is not compared there, so they are not asked for. Empty
/// when nobody knows. May run the tool. Loading thread only.
std::string pmuNameOf(const perfdata::Features& features);

} // namespace samplefold::load
