#pragma once

#include "session/address_space.h"

namespace samplefold::session {

/// Base that is there before the address space and after it.
struct MapHolder {
    samplefold_1::SegInstMap segments;
};

/// An address space with the map that it fills.
class OwnedSpace : public MapHolder, public AddressSpace {
public:
    OwnedSpace() : AddressSpace(segments) {}
};

} // namespace samplefold::session
