#pragma once

#include <SEEK_2_13/export.h>
#include <SEEK_2_13/object_ptr.h>

#include <cstdint>

namespace SEEK_2_13 {

/// A checksum. Immutable; any thread.
class SEEK_API IChecksum : public tb2::object_interface_t {
public:
    /// In lower-case hexadecimal; NUL-terminated, lives as long as the object.
    virtual const char* getText() const noexcept = 0;
    virtual bool equals(const IChecksum& other) const noexcept = 0;
};

namespace checksum_kind {
inline constexpr std::uint32_t md5 = 0;
}

/// Calculates MD5 checksums. Any thread.
class SEEK_API IChecksumCalculator : public tb2::object_interface_t {
public:
    /// Null when MD5 is not to be had, as where a policy of the machine forbids it.
    static ObjectPtr<IChecksumCalculator> create();

    /// Of all bytes of the regular file at `path`. Null when it cannot be read, holds more than
    /// 64 GiB, or is a file of /proc, whose content is made up as it is read. Never waits for a
    /// pipe or device.
    virtual ObjectPtr<IChecksum> calculateChecksum(const char* path) const = 0;
    /// A checksum from its text, of letters of either case. `kind` is checksum_kind::md5; another
    /// kind, and an empty text, give null. A text that is no MD5 gives a checksum that no file has.
    virtual ObjectPtr<IChecksum> parseChecksum(std::uint32_t kind, const char* text) const = 0;
};

} // namespace SEEK_2_13
