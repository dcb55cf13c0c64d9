#pragma once

#include "elf_file.h"

#include <GLYPH_3_30/module_image.h>

#include <string>

// What an ELF file says about itself and about the files that belong to it.
namespace GLYPH_3_30 {

/// The build id in lower-case hexadecimal; empty without one.
std::string readBuildId(Elf* elf);

/// The section .gnu_debuglink; an empty name without a sound one.
debug_link_t readDebugLink(Elf* elf);

/// Path and build id of the file that holds what several debug files share.
struct alt_link_t {
    std::string path; ///< empty when there is none
    std::string buildId;
};
/// The section .gnu_debugaltlink.
alt_link_t readAltLink(Elf* elf);

/// The section of that name; null when there is none.
Elf_Scn* findSection(Elf* elf, std::string_view name);

} // namespace GLYPH_3_30
