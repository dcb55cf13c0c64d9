#pragma once

#include <GLYPH_3_30/export.h>
#include <GLYPH_3_30/object_ptr.h>

#include <cstdint>

namespace GLYPH_3_30 {

namespace segment_kind {
inline constexpr std::uint32_t loadable = 1;
}

/// A segment of an image, one per program header. Immutable; any thread.
class GLYPH_API ISegment {
public:
    /// The type of the program header: 1 loadable, 2 dynamic linking, 4 notes, 7 thread storage,
    /// ...
    virtual std::uint32_t getKind() const noexcept = 0;
    virtual std::uint64_t getFileSize() const noexcept = 0;   ///< bytes in the file
    virtual std::uint64_t getMemorySize() const noexcept = 0; ///< bytes in memory
    /// First address less the preferred load address of the image; wraps for an address below it.
    virtual std::uint64_t getOffsetFromLoadAddress() const noexcept = 0;
    virtual std::uint64_t getOffsetInFile() const noexcept = 0;
    /// 4 readable, 2 writable, 1 executable.
    virtual std::uint32_t getFlags() const noexcept = 0;

protected:
    ~ISegment() = default;
};

/// Goes through the segments in the order of the file's table. One thread.
class GLYPH_API ISegmentIterator : public tb2::object_interface_t {
public:
    /// Null past the end. Lives until the iterator moves on or ends.
    virtual const ISegment* current() const noexcept = 0;
    virtual void advance() noexcept = 0;
};

} // namespace GLYPH_3_30
