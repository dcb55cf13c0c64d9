#pragma once

#include <GLYPH_3_30/export.h>
#include <GLYPH_3_30/object_ptr.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace GLYPH_3_30 {

/// An architecture, as the machine number of an ELF header (62 is x86-64); 0 stands for any.
using arch_t = std::uint32_t;

/// Name and checksum by which an image points to a separate file with its debug information.
struct debug_link_t {
    std::string name;      ///< without a folder; empty when there is none
    std::uint32_t crc = 0; ///< CRC-32 of that file
};

/// An opened executable or shared object: its headers. What else it holds is read by symbol banks.
/// An image from a path keeps one open descriptor. A file that is cut or rewritten meanwhile gives
/// wrong answers or none, and no crash. Any thread.
class GLYPH_API IModuleImage : public tb2::object_interface_t {
public:
    /// Opens the regular file at `path`; never waits for a pipe or a device. With `inMemory` all of
    /// it is read now, and no descriptor is kept. Null when it is no ELF executable or shared
    /// object of architecture `arch`, or is damaged; then *fault, unless null, tells why, in one
    /// line.
    static SymMgrObjectPtr<IModuleImage> create(const char* path, arch_t arch, bool inMemory,
                                                std::string* fault = nullptr);
    /// The same of `bytes`, which are copied. `name` takes the place of the path.
    static SymMgrObjectPtr<IModuleImage> create(std::span<const std::byte> bytes, arch_t arch,
                                                const char* name, std::string* fault = nullptr);

    /// As given; NUL-terminated, lives as long as the image.
    virtual const char* getPath() const noexcept = 0;
    virtual arch_t getArchitecture() const noexcept = 0;
    /// Bytes of the file.
    virtual std::uint64_t getFileSize() const noexcept = 0;
    /// The GNU build id in lower-case hexadecimal; empty when there is none.
    virtual const std::string& getBuildId() const noexcept = 0;
    virtual const debug_link_t& getDebugLink() const noexcept = 0;
};

} // namespace GLYPH_3_30
