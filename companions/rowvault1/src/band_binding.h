#pragma once

#include <string_view>

namespace rowvault1 {

class Store;

// The table "band_binding": which band data there are, over which attributes, and who owns their
// bands. Failures go to the store.

bool hasBandData(Store& store, std::string_view dataName);
/// Enters the data where it is not known yet. False where it is known with another attribute table,
/// and when the store has failed or cannot be written.
bool noteBandData(Store& store, std::string_view dataName, std::string_view attributeTable);
void bindBandData(Store& store, std::string_view dataName, std::string_view ownerTable);

} // namespace rowvault1
