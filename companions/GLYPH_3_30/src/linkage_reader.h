#pragma once

#include "elf_file.h"
#include "layout.h"

#include <GLYPH_3_30/symbol.h>

#include <deque>
#include <string>
#include <vector>

namespace GLYPH_3_30 {

/// Appends a symbol "name@plt" for each entry of the procedure linkage tables of an x86-64 image
/// that jumps through a slot which the dynamic linker fills with the address of `name`. Entries for
/// indirect functions of the image itself get the name of the symbol of `symbols` at the resolver.
/// The texts go to `names`. The file's mutex is held by the caller.
void readLinkageTables(const ElfFile& file, const Layout& layout, std::deque<std::string>& names,
                       std::vector<symbol_t>& symbols);

} // namespace GLYPH_3_30
