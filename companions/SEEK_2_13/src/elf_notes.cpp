#include "elf_identity.h"
#include "hex_text.h"
#include "regular_file.h"

#include <elf.h>

#include <array>
#include <bit>
#include <cstring>

namespace SEEK_2_13 {
namespace {

constexpr std::size_t g_maxIdBytes = 64;
/// Room for the notes of a kernel, which are a few hundred bytes.
constexpr std::size_t g_maxKernelNoteBytes = std::size_t{1} << 16;

std::uint32_t wordAt(std::span<const std::byte> bytes, std::size_t offset, bool isLittle)
{
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < sizeof word; ++i)
        word = word << 8 |
               std::to_integer<std::uint32_t>(bytes[offset + (isLittle ? sizeof word - 1 - i : i)]);
    return word;
}

} // namespace

std::string buildIdInNotes(std::span<const std::byte> notes, bool isLittle, std::size_t align)
{
    const auto padded = [align](std::uint64_t size) { return (size + align - 1) / align * align; };
    while (notes.size() >= sizeof(Elf32_Nhdr)) {
        const std::uint64_t nameBytes = wordAt(notes, 0, isLittle);
        const std::uint64_t idBytes = wordAt(notes, 4, isLittle);
        const std::uint32_t type = wordAt(notes, 8, isLittle);
        const std::uint64_t idAt = padded(sizeof(Elf32_Nhdr) + nameBytes);
        if (idAt > notes.size() || idBytes > notes.size() - idAt) return {};
        const bool isGnu =
            nameBytes == sizeof ELF_NOTE_GNU &&
            std::memcmp(notes.data() + sizeof(Elf32_Nhdr), ELF_NOTE_GNU, nameBytes) == 0;
        if (isGnu && type == NT_GNU_BUILD_ID && idBytes != 0 && idBytes <= g_maxIdBytes)
            return hexOf(notes.subspan(idAt, idBytes));
        const std::uint64_t next = idAt + padded(idBytes);
        if (next > notes.size()) return {};
        notes = notes.subspan(next);
    }
    return {};
}

std::string readKernelBuildId(const std::string& path)
{
    RegularFile file;
    std::string detail;
    if (file.open(path, detail) != refusal_t::none) return {};
    std::vector<std::byte> notes(g_maxKernelNoteBytes);
    const ssize_t got = file.readAt(notes, 0);
    if (got < 0) return {};
    notes.resize(static_cast<std::size_t>(got));
    return buildIdInNotes(notes, std::endian::native == std::endian::little, 4);
}

} // namespace SEEK_2_13
