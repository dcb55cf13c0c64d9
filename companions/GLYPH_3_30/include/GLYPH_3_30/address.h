#pragma once

#include <GLYPH_3_30/export.h>
#include <GLYPH_3_30/object_ptr.h>

#include <cstdint>

namespace GLYPH_3_30 {

/// A place in the loaded layout of a module. Immutable; any thread.
class GLYPH_API IAddress : public tb2::object_interface_t {
public:
    /// Bytes from the load address.
    virtual std::uint64_t getRva() const noexcept = 0;
    /// The image address: that of the file's headers, sections and symbols.
    virtual std::uint64_t getValue() const noexcept = 0;
    bool differs(const IAddress& other) const noexcept { return getValue() != other.getValue(); }
};

} // namespace GLYPH_3_30
