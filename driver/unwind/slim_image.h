#pragma once

#include <elf.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace samplefold::unwind {

/// An ELF section with its bytes.
struct SlimSection {
    std::string name;
    std::uint32_t type = 0;
    std::uint64_t flags = 0;
    std::uint64_t address = 0;
    std::vector<std::byte> bytes;
};

/// The bytes of a 64-bit x86-64 ELF file with these program headers and sections and nothing else.
/// The headers say where things are in memory; their file offsets lead nowhere.
std::vector<std::byte> makeSlimImage(std::uint16_t fileType, std::span<const Elf64_Phdr> headers,
                                     std::span<const SlimSection> sections);

} // namespace samplefold::unwind
