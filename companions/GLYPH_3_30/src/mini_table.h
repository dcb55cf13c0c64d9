#pragma once

#include "elf_file.h"

#include <memory>
#include <string>

namespace GLYPH_3_30 {

/// The file inside of the section .gnu_debugdata, which holds the symbols that stripping has left.
/// Null when there is none, and with `fault` when it cannot be read.
std::unique_ptr<ElfFile> readMiniTable(const ElfFile& file, std::string& fault);

} // namespace GLYPH_3_30
