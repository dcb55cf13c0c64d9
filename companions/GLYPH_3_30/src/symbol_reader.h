#pragma once

#include "elf_file.h"
#include "layout.h"

#include <GLYPH_3_30/symbol.h>

#include <cstdint>
#include <vector>

namespace GLYPH_3_30 {

/// Appends the symbols of code from the tables of type `tableType` (SHT_SYMTAB or SHT_DYNSYM) in
/// `file`, as far as `layout`, that of the image, has code there. Ends are not filled. Names live
/// as long as the file. The file's mutex is held by the caller.
void readSymbols(const ElfFile& file, std::uint32_t tableType, const Layout& layout,
                 symbol_origin_t origin, std::vector<symbol_t>& symbols);

} // namespace GLYPH_3_30
