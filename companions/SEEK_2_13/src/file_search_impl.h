#pragma once

#include "client_records.h"
#include "file_tree.h"
#include "search_settings.h"

#include <SEEK_2_13/file_search.h>

#include <memory>

namespace SEEK_2_13 {

/// A search by `settings` that notes its attempts in `records`.
ObjectPtr<IFileSearch> makeFileSearch(std::unique_ptr<ISearchSettings> settings,
                                      std::shared_ptr<ClientRecords> records);

} // namespace SEEK_2_13
