#pragma once

#include "report/archive_plan.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace samplefold::report {

enum class ArchiveState : std::uint8_t {
    copied,  ///< or would be, in a dry run
    present, ///< was there already
    missing, ///< the file is no longer there
    refused, ///< it has changed, cannot be read or written, or has no place left
    skipped  ///< has no bytes of its own to keep, as the memory of the kernel that runs
};

/// What became of an item.
struct ArchiveOutcome {
    ArchiveItem item;
    ArchiveState state = ArchiveState::refused;
    std::string place;       ///< relative to the archive; empty where it has none
    std::uint64_t bytes = 0; ///< copied
    std::string problem;     ///< one line without the file's path; empty when all is well
};

struct ArchiveReport {
    std::string folder;
    bool dryRun = false;
    std::uint64_t notFound = 0; ///< modules with samples for which no file is known
    std::vector<ArchiveOutcome> outcomes;
};

/// Puts the items of a plan into the archive. A file is copied under another name, compared with
/// what the result knows of it, and then renamed; what is there already is left as it is. With
/// `dryRun` nothing is written, all else is tested the same. Does not throw for a file: the report
/// tells.
ArchiveReport fillArchive(ArchivePlan plan, bool dryRun);

/// Whether the outcome leaves the archive without a file that the load had found. Source files that
/// are not on this machine are none of those.
bool isFailure(const ArchiveOutcome& outcome);

void writeArchive(const ArchiveReport& report, std::ostream& out);
/// One JSON object with the keys "archive", "dry_run", "files", "copied", "bytes", "present",
/// "missing", "refused", "skipped" and "modules_not_found".
nlohmann::ordered_json archiveToJson(const ArchiveReport& report);

} // namespace samplefold::report
