#pragma once

#include "load/branch_task.h"
#include "load/load_error.h"
#include "load/sample_loader.h"
#include "session/container_option.h"
#include "session/module_files.h"
#include "topology/topology_loader.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace samplefold::load {

struct LoadOptions {
    std::string input;           ///< a file, or "-" for standard input
    std::string result;          ///< folder of the result
    bool append = false;         ///< into an existing result
    bool storeEachSample = true; ///< a row per sample, or a row per thread and attribute
    /// Call chains become callsites. Not set: as the result has it that is appended to, else on
    /// where the recording has chains, or branch records that tell of callers.
    std::optional<bool> stacks;
    bool unwind = true; ///< copies of user stacks become call chains
    BranchOptions branches;
    JitOptions jit;
    session::FileSearchOptions files;
    std::vector<session::ContainerOption> containers; ///< beside those that the recording tells
    bool namesOn = true;                ///< places in code get functions and source lines
    double nameSeconds = 0;             ///< time to spend on that; 0: as long as it takes
    std::string kallsyms;               ///< table of the recorded kernel's symbols; empty for none
    topology::TopologyOptions topology; ///< of the recorded machine, if any is given
    std::string collectorCommand;       ///< one line, for recordings that do not hold it; or empty
    std::string hwFeedback;             ///< file of hardware feedback reports; empty for none
};

/// What a load did.
struct LoadReport {
    /// Sample records in the input, group members and counter values included.
    std::uint64_t samples = 0;
    std::uint64_t counterValues = 0; ///< those of `samples` that are of a counting run
    std::uint64_t rows = 0;          ///< sample rows written
    std::uint64_t dropped = 0;       ///< samples that became no row, each counted by reason
    std::string databasePath;
    std::vector<std::string> messages; ///< warnings, a line each: files that were not found
    /// One line where the input, or the file of reports, is damaged; empty when all was read.
    std::string fault;
};

/// Which step a load is at, with bytes done and in total.
using LoadProgress = std::function<void(const char* step, std::uint64_t done, std::uint64_t total)>;

/// Loads a recording into a result and checks the books: every sample of the input is a row or a
/// counted drop. A damaged input is loaded up to the damage (LoadReport::fault). Throws
/// perfdata::ReadError, rowvault1::StoreError, topology::InventoryError,
/// topology::MeshStopError or LoadError; a result that was begun stays, readable
/// and marked incomplete. One load at a time in a process.
LoadReport loadProfile(const LoadOptions& options, const LoadProgress& progress);

} // namespace samplefold::load
