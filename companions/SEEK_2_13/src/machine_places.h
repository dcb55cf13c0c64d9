#pragma once

#include <SEEK_2_13/search_env.h>

#include <string>

namespace SEEK_2_13 {

/// Puts the texts of `others` where `places` has empty ones.
void fillEmpty(machine_places_t& places, const machine_places_t& others);

/// The usual places of this machine.
machine_places_t usualPlaces();

/// Release of the kernel that runs.
std::string runningRelease();

} // namespace SEEK_2_13
