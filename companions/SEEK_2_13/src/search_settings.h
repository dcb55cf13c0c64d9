#pragma once

#include <SEEK_2_13/file_search.h>
#include <SEEK_2_13/resolution_context.h>
#include <SEEK_2_13/search_dirs.h>
#include <SEEK_2_13/search_env.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace SEEK_2_13 {

/// Places outside of added directories that a search may go to, with nothing left empty.
struct fixed_places_t {
    machine_places_t machine;
    std::string archive;
};

/// What a search goes by; asked anew by each search. Any thread.
class ISearchSettings {
public:
    virtual ~ISearchSettings() = default;

    /// In the order of search.
    virtual std::vector<search_dir_t> directories(file_kind_t kind) const = 0;
    /// Empty when none is expected.
    virtual std::string expectedBuildId(const std::string& modulePath) const = 0;
    virtual std::vector<path_substitution_t> substitutions() const = 0;
    /// None for a search in added directories alone.
    virtual std::optional<fixed_places_t> fixedPlaces() const = 0;
};

} // namespace SEEK_2_13
