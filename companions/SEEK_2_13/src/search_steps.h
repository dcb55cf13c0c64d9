#pragma once

#include "file_tree.h"
#include "search_settings.h"
#include "trial.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace SEEK_2_13 {

/// The places of one search, each tried by an operation. An operation returns true as soon as the
/// trial has taken a file.
class SearchSteps {
public:
    /// `kind` tells which directories are searched, and the names of files in build-id layouts.
    SearchSteps(const ISearchSettings& settings, file_kind_t kind, FileTrees& trees, Trial& trial);

    /// Whether there are places outside of added directories.
    bool hasFixedPlaces() const noexcept { return m_fixed.has_value(); }
    /// Only when there are.
    const fixed_places_t& fixed() const { return *m_fixed; }

    bool trySubstitutions(const std::string& path);
    /// Links and caches by the build id; nothing when none is expected.
    bool tryBuildId(const std::string& id, const std::string& modulePath);
    bool tryAddedDirectories(const std::vector<std::string>& paths);
    bool tryArchive(const std::vector<std::string>& paths);

private:
    bool tryLinks(const std::string& id);
    bool tryCache(const std::string& id, const std::string& modulePath);
    bool tryCacheEntry(const std::string& folder);
    bool tryBelow(const search_dir_t& dir, const std::string& path);

    const ISearchSettings& m_settings;
    file_kind_t m_kind;
    FileTrees& m_trees;
    Trial& m_trial;
    std::vector<search_dir_t> m_dirs;
    std::optional<fixed_places_t> m_fixed;
};

} // namespace SEEK_2_13
