#pragma once

#include "elf_file.h"

#include <memory>

namespace GLYPH_3_30 {

/// A file with debug sections and nothing in them. It takes the place of a shared debug file that
/// there is not, so that references into that end in nothing.
std::unique_ptr<ElfFile> makeNoAltFile();

} // namespace GLYPH_3_30
