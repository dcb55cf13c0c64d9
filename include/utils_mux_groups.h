#pragma once

#include "export.h"

#include <rowvault1/database.h>
#include <toolbelt2/error_code.h>

#include <string>

namespace samplefold_1::utils {

/// Counts the groups in which a collector multiplexed the core events, by its file "hwsamp.events"
/// in `directory`, and keeps the highest group number plus one (1 for a file without groups) as
/// context value "muxGroupCount" of the result, a signed 32-bit number. Only lines that begin with
/// "PMU type:" or "Group " mean anything; of a line the first 64 KiB are looked at. Value 0 is
/// success, 1 says that there is no such file, with nothing logged; every other value is a checked
/// failure that was raised. Nothing is stored then. The database's thread.
SAMPLEFOLD_1_API tb2::error_code_t
populateCoreMuxGroups(const std::string& directory,
                      const tb2::sptr_t<rowvault1::IPerfDatabase>& database);

} // namespace samplefold_1::utils
