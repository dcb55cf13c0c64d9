#pragma once

#include <rowvault1/result.h>

#include <string_view>

namespace rowvault1 {

class Store;

/// See readSql in result.h.
void runReadOnly(Store& store, std::string_view sql, ISqlReader& reader);

} // namespace rowvault1
