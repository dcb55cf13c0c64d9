#pragma once

#include <GLYPH_3_30/export.h>
#include <GLYPH_3_30/object_ptr.h>

#include <cstdint>

namespace GLYPH_3_30 {

namespace section_flags {
inline constexpr std::uint64_t writable = 1;
inline constexpr std::uint64_t inMemory = 2; ///< it has a place in the loaded module
inline constexpr std::uint64_t executable = 4;
} // namespace section_flags

/// A section of an image. Immutable; any thread.
class GLYPH_API ISection : public tb2::object_interface_t {
public:
    /// NUL-terminated; lives as long as the section.
    virtual const char* getName() const noexcept = 0;
    virtual std::uint64_t getStart() const noexcept = 0; ///< image address
    virtual std::uint64_t getSize() const noexcept = 0;  ///< bytes
    virtual std::uint64_t getOffsetInFile() const noexcept = 0;
    virtual std::uint64_t getFlags() const noexcept = 0; ///< as the section header has them
};

} // namespace GLYPH_3_30
