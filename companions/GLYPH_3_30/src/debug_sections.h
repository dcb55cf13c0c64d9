#pragma once

#include "elf_file.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

// Checks of debug sections before and beside the library that reads them.
namespace GLYPH_3_30 {

/// Bytes of all debug sections once they are unpacked. False, with `fault`, when they claim to be
/// larger than they can be or than is read.
bool measureDebugSections(const ElfFile& file, std::uint64_t& bytes, std::string& fault);

/// The unpacked bytes of ".debug_<name>"; empty without them. After the debug information was
/// begun.
std::span<const std::byte> debugSection(const ElfFile& file, const std::string& name);

/// Bytes of the table of abbreviations at `offset` of `abbreviations`, up to its end or the
/// section's.
std::uint64_t abbreviationBytes(std::span<const std::byte> abbreviations, std::uint64_t offset);

/// Bytes of the line program at `offset` of `lines`, as its header claims; 0 when there is none.
std::uint64_t lineProgramBytes(std::span<const std::byte> lines, std::uint64_t offset);

} // namespace GLYPH_3_30
