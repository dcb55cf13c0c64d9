#pragma once

#include "names/found_names.h"

#include <rowvault1/result.h>

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

namespace samplefold::names {

/// Places of one module.
struct ModulePlaces {
    std::int32_t module = -1; ///< row of dd_module_file
    std::uint64_t hits = 0;   ///< of its hottest place
    std::vector<Place> places;
};

/// Whether a sample was taken at a place, which otherwise is only a caller's.
using was_sampled_t = std::function<bool(std::int32_t segment, std::uint64_t rva)>;

/// The places in code that lie in a module, have no name yet, and are not of generated code, by
/// module. With `countHits` the hits of each are counted, which reads all samples. Rows that wait
/// to be written are seen. Throws rowvault1::StoreError. Loading thread only.
std::vector<ModulePlaces> readUnnamedPlaces(rowvault1::IResult& store,
                                            const was_sampled_t& wasSampled, bool countHits);

/// Cuts the places into rounds of about `size`, the hottest places first; within a round they are
/// by module and address.
std::vector<std::vector<ModulePlaces>> roundsByHeat(const std::vector<ModulePlaces>& modules,
                                                    std::size_t size);

} // namespace samplefold::names
