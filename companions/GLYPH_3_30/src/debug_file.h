#pragma once

#include "elf_file.h"
#include "image_impl.h"

#include <GLYPH_3_30/symbol_file_resolver.h>

#include <memory>
#include <string>

// Files that hold debug information for others.
namespace GLYPH_3_30 {

/// The separate debug file of `image` at `path`. Null, with `fault`, when it does not fit: its
/// build id must be that of the image or, where one of them has none, its checksum that of the
/// debug link.
std::unique_ptr<ElfFile> openDebugFile(const ImageImpl& image, const std::string& path,
                                       std::string& fault);

/// The file with what `file`, at `path`, shares with other debug files: where `file` says it is, by
/// its build id in the system's folder for debug files, or where `resolver` (may be null) finds it.
/// Null when `file` shares nothing, and with `fault` when nothing fits by its build id.
std::unique_ptr<ElfFile> openAltFile(const ElfFile& file, const std::string& path,
                                     ISymbolFileResolver* resolver, std::string& fault);

} // namespace GLYPH_3_30
