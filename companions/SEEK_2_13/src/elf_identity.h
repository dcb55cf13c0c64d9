#pragma once

#include <SEEK_2_13/error_info.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace SEEK_2_13 {

/// What tells an ELF file from others of its name.
struct elf_identity_t {
    std::string buildId;       ///< lower-case hexadecimal; empty when there is none
    std::string debugLink;     ///< name in the debug link; empty when there is none
    std::uint32_t linkCrc = 0; ///< CRC-32 in the debug link
    bool hasSymbols = false;   ///< a symbol table or debug information, with their bytes
};

/// Reads the identity of the regular file at `path`. Returns why it cannot, with a line in
/// `detail`; the file may be damaged in any way.
refusal_t readElfIdentity(const std::string& path, elf_identity_t& identity, std::string& detail);

/// The GNU build id in the content of a note section, in lower-case hexadecimal; empty when there
/// is none. `align` is that of the notes, 4 or 8.
std::string buildIdInNotes(std::span<const std::byte> notes, bool isLittle, std::size_t align);

/// The build id of the kernel that runs, from its notes at `path`; empty when there is none.
std::string readKernelBuildId(const std::string& path);

} // namespace SEEK_2_13
