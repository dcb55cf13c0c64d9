#include "debug_sections.h"

#include "notes.h"

#include <gelf.h>

#include <cstring>
#include <string_view>

namespace GLYPH_3_30 {
namespace {

constexpr std::uint64_t g_maxBytes = std::uint64_t{4} << 30;
/// Debug information shrinks to a third or so, its tables of texts further.
constexpr std::uint64_t g_maxGrowth = 64;
constexpr std::uint64_t g_spareBytes = 1 << 20;

/// Unpacked bytes of a section of the older packing: a mark, then the size, high byte first.
std::uint64_t oldPackedBytes(Elf_Scn* section)
{
    constexpr std::size_t headBytes = 12;
    const std::span<const std::byte> bytes = rawBytes(section);
    if (bytes.size() < headBytes || std::memcmp(bytes.data(), "ZLIB", 4) != 0) return bytes.size();
    std::uint64_t size = 0;
    for (std::size_t i = 4; i < headBytes; ++i)
        size = size << 8 | std::to_integer<std::uint64_t>(bytes[i]);
    return size;
}

std::uint64_t unpackedBytes(Elf_Scn* section, const GElf_Shdr& header, std::string_view name)
{
    GElf_Chdr packed;
    if ((header.sh_flags & SHF_COMPRESSED) != 0)
        return ::gelf_getchdr(section, &packed) != nullptr ? packed.ch_size : 0;
    return name.starts_with(".zdebug") ? oldPackedBytes(section) : header.sh_size;
}

/// Skips a number in groups of seven bits.
std::uint64_t numberAt(std::span<const std::byte> bytes, std::uint64_t& at)
{
    std::uint64_t value = 0;
    for (unsigned shift = 0; at < bytes.size(); shift += 7) {
        const auto byte = std::to_integer<std::uint64_t>(bytes[at++]);
        if (shift < 64) value |= (byte & 0x7f) << shift;
        if ((byte & 0x80) == 0) break;
    }
    return value;
}

} // namespace

bool measureDebugSections(const ElfFile& file, std::uint64_t& bytes, std::string& fault)
{
    std::size_t names = 0;
    bytes = 0;
    if (::elf_getshdrstrndx(file.elf(), &names) != 0) return true;
    const TextTable texts(::elf_getscn(file.elf(), names));
    for (Elf_Scn* section = nullptr; (section = ::elf_nextscn(file.elf(), section)) != nullptr;) {
        GElf_Shdr header;
        if (::gelf_getshdr(section, &header) == nullptr || header.sh_type == SHT_NOBITS) continue;
        const char* text = texts.at(header.sh_name);
        // Longer names have a known start too, and are not looked at to their end.
        const std::string_view name(text != nullptr ? text : "",
                                    text != nullptr ? ::strnlen(text, 8) : 0);
        if (!name.starts_with(".debug") && !name.starts_with(".zdebug")) continue;
        const std::uint64_t size = unpackedBytes(section, header, name);
        if (size > g_maxBytes || bytes + size > g_maxBytes) {
            fault = "its debug information is larger than the " + std::to_string(g_maxBytes >> 20) +
                    " MiB that are read";
            return false;
        }
        bytes += size;
    }
    if (bytes <= file.size() * g_maxGrowth + g_spareBytes) return true;
    fault = "its debug information claims to be " + std::to_string(bytes) +
            " bytes, in a file of " + std::to_string(file.size());
    return false;
}

std::span<const std::byte> debugSection(const ElfFile& file, const std::string& name)
{
    Elf_Scn* section = findSection(file.elf(), ".debug_" + name);
    return rawBytes(section != nullptr ? section : findSection(file.elf(), ".zdebug_" + name));
}

std::uint64_t abbreviationBytes(std::span<const std::byte> abbreviations, std::uint64_t offset)
{
    constexpr std::uint64_t implicitConst = 0x21; // the form that has its value here
    std::uint64_t at = offset;
    while (at < abbreviations.size() && numberAt(abbreviations, at) != 0) {
        numberAt(abbreviations, at); // its tag
        ++at;                        // whether it has children
        for (bool isMore = true; isMore && at < abbreviations.size();) {
            const std::uint64_t name = numberAt(abbreviations, at);
            const std::uint64_t form = numberAt(abbreviations, at);
            if (form == implicitConst) numberAt(abbreviations, at);
            isMore = name != 0 || form != 0;
        }
    }
    return at - offset;
}

std::uint64_t lineProgramBytes(std::span<const std::byte> lines, std::uint64_t offset)
{
    std::uint32_t length = 0;
    if (offset > lines.size() || lines.size() - offset < sizeof length) return 0;
    std::memcpy(&length, lines.data() + offset, sizeof length);
    // The longer form of the header says more, which no program needs.
    return length;
}

} // namespace GLYPH_3_30
