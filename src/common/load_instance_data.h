#pragma once

#include <toolbelt2/environment.h>

namespace samplefold_1 {

/// True when stored samples also go to the band table: any non-empty value counts, "0" included.
inline bool loadInstanceDataToSqlite()
{
    return !tb2::get_environ_value("KESTREL_LOAD_INSTANCE_DATA_TO_SQLITE").empty();
}

} // namespace samplefold_1
