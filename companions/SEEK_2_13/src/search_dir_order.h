#pragma once

#include <SEEK_2_13/search_dirs.h>

#include <vector>

namespace SEEK_2_13 {

/// Puts directories into the order of search: by rank, those without one behind, among equals as
/// they were.
void sortByRank(std::vector<search_dir_t>& dirs);

/// Whether a directory has a path, and is of a kind that has directories.
bool isSearchable(const search_dir_t& dir);

} // namespace SEEK_2_13
