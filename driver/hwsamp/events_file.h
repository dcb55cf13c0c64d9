#pragma once

#include "hwsamp/event_plan.h"

#include <iosfwd>
#include <string>

namespace samplefold::hwsamp {

/// Writes the plan: remarks as lines that begin with '#', then per section a line "PMU type: NAME"
/// and a line "Group N: EVENT, EVENT" per group, N from 0.
void writePlan(std::ostream& out, const EventPlan& plan);

/// Writes the file "hwsamp.events" of an existing folder, in place of one before; it appears whole
/// or not at all. Throws ToolError.
void writeEventsFile(const std::string& folder, const EventPlan& plan);

} // namespace samplefold::hwsamp
