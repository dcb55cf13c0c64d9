#pragma once

#include "regular_file.h"

#include <SEEK_2_13/error_info.h>

#include <cstdint>
#include <string>

namespace SEEK_2_13 {

/// What the head of an ELF file says.
struct elf_head_t {
    bool is64 = false;
    bool isLittle = false;
    std::uint16_t type = 0;
    std::uint16_t machine = 0;
    std::uint64_t sectionOffset = 0;
    std::uint16_t sectionCount = 0;
};

/// Reads the head of `file` by itself, which serves for files that are too large or too strange for
/// an ELF library. False, with the cause, when it is no ELF file.
bool readElfHead(const RegularFile& file, elf_head_t& head, std::string& detail);

/// Whether an ELF library may read the file: the number of sections that it claims fits its size,
/// and the room for them fits memory. False with the cause.
bool isWithinLimits(const RegularFile& file, const elf_head_t& head, std::string& detail);

} // namespace SEEK_2_13
