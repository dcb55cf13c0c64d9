#pragma once

#include <rowvault1/result.h>

#include <ostream>
#include <string_view>

namespace samplefold::report {

enum class SqlFormat { table, csv, json };

/// Runs a statement and writes its answer as it comes: an aligned table (widths by the first
/// thousand rows), CSV with a head line (RFC 4180), or a JSON array of objects. Throws
/// rowvault1::StoreError.
void writeSql(rowvault1::IResult& result, std::string_view sql, SqlFormat format,
              std::ostream& out);

} // namespace samplefold::report
