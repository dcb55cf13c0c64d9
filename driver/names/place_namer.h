#pragma once

#include "names/found_names.h"

#include <string>

namespace samplefold::names {

/// Names places of one module. One thread at a time.
class PlaceNamer {
public:
    virtual ~PlaceNamer() = default;

    /// Names one place, adding what it needs to `names`.
    virtual PlaceName name(const Place& place, FoundNames& names) = 0;
    /// Why none of the module's places has a name; empty when some may have.
    virtual const std::string& fault() const = 0;
};

} // namespace samplefold::names
