#pragma once

#include "perfdata/features.h"

#include <rowvault1/database.h>

#include <cstdint>
#include <string>
#include <vector>

namespace samplefold::load {

/// The command line that a collector was started with.
struct CollectorCommand {
    std::string text;                   ///< as one line
    std::vector<std::string> arguments; ///< the program first
};

/// The command line of a recording. A recording that holds it holds it as a list, which is kept as
/// it is. `given` is one line of text and goes before it, unless it is empty: it is split by the
/// rules of the shell that it seems to be written for (utils::splitCollectorCmdline).
CollectorCommand collectorCommand(const perfdata::Features& features, const std::string& given);

/// Stores the arguments as rows of dd_collector_argument. `load` counts the loads of a result from
/// 1 on. Loading thread only.
void storeArguments(const tb2::sptr_t<rowvault1::IDatabase>& db, const CollectorCommand& command,
                    std::uint32_t load);

} // namespace samplefold::load
