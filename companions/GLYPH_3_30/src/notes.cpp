#include "notes.h"

#include "work_limit.h"

#include <gelf.h>

#include <algorithm>
#include <cstring>

namespace GLYPH_3_30 {
namespace {

/// Longest build id, text and amount of notes that are believed.
constexpr std::size_t g_maxIdBytes = 64;
constexpr std::size_t g_maxNameBytes = 4096;
constexpr std::size_t g_maxNoteBytes = 1 << 20;
/// All notes that are read before the build id is found; a sparse file could have any number.
constexpr std::size_t g_maxAllNoteBytes = 4 << 20;

std::string hexOf(std::span<const std::byte> bytes)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const std::byte byte : bytes) {
        text += digits[std::to_integer<unsigned>(byte) >> 4];
        text += digits[std::to_integer<unsigned>(byte) & 15];
    }
    return text;
}

std::string buildIdIn(Elf_Data* notes)
{
    if (notes == nullptr || notes->d_buf == nullptr || notes->d_size > g_maxNoteBytes) return {};
    const auto* bytes = static_cast<const std::byte*>(notes->d_buf);
    GElf_Nhdr note;
    std::size_t name = 0;
    std::size_t content = 0;
    for (std::size_t at = 0; (at = ::gelf_getnote(notes, at, &note, &name, &content)) != 0;) {
        if (note.n_type != NT_GNU_BUILD_ID || note.n_namesz != sizeof ELF_NOTE_GNU) continue;
        if (std::memcmp(bytes + name, ELF_NOTE_GNU, sizeof ELF_NOTE_GNU) != 0) continue;
        if (note.n_descsz != 0 && note.n_descsz <= g_maxIdBytes)
            return hexOf({bytes + content, note.n_descsz});
    }
    return {};
}

std::string buildIdInSections(Elf* elf)
{
    WorkLimit limit(g_maxAllNoteBytes);
    for (Elf_Scn* section = nullptr; (section = ::elf_nextscn(elf, section)) != nullptr;) {
        GElf_Shdr header;
        if (::gelf_getshdr(section, &header) == nullptr || header.sh_type != SHT_NOTE ||
            header.sh_size > g_maxNoteBytes)
            continue;
        if (!limit.spend(header.sh_size)) return {};
        std::string id = buildIdIn(::elf_getdata(section, nullptr));
        if (!id.empty()) return id;
    }
    return {};
}

std::string buildIdInSegments(Elf* elf)
{
    std::size_t count = 0;
    WorkLimit limit(g_maxAllNoteBytes);
    if (::elf_getphdrnum(elf, &count) != 0) return {};
    for (std::size_t i = 0; i < count; ++i) {
        GElf_Phdr header;
        if (::gelf_getphdr(elf, static_cast<int>(i), &header) == nullptr) return {};
        if (header.p_type != PT_NOTE || header.p_filesz > g_maxNoteBytes) continue;
        if (!limit.spend(header.p_filesz)) return {};
        std::string id = buildIdIn(
            ::elf_getdata_rawchunk(elf, static_cast<std::int64_t>(header.p_offset), header.p_filesz,
                                   header.p_align == 8 ? ELF_T_NHDR8 : ELF_T_NHDR));
        if (!id.empty()) return id;
    }
    return {};
}

/// The text that a section begins with; empty when it has no end.
std::string leadingText(std::span<const std::byte> bytes)
{
    const auto limit =
        bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), g_maxNameBytes));
    const auto end = std::find(bytes.begin(), limit, std::byte{0});
    if (end == limit) return {};
    return {reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::size_t>(end - bytes.begin())};
}

bool isBigEndian(Elf* elf)
{
    const char* ident = ::elf_getident(elf, nullptr);
    return ident != nullptr && ident[EI_DATA] == ELFDATA2MSB;
}

} // namespace

Elf_Scn* findSection(Elf* elf, std::string_view name)
{
    std::size_t names = 0;
    if (::elf_getshdrstrndx(elf, &names) != 0) return nullptr;
    const TextTable texts(::elf_getscn(elf, names));
    for (Elf_Scn* section = nullptr; (section = ::elf_nextscn(elf, section)) != nullptr;) {
        GElf_Shdr header;
        if (::gelf_getshdr(section, &header) == nullptr) continue;
        const char* own = texts.at(header.sh_name);
        if (own != nullptr && std::strncmp(own, name.data(), name.size()) == 0 &&
            own[name.size()] == '\0')
            return section;
    }
    return nullptr;
}

std::string readBuildId(Elf* elf)
{
    std::string id = buildIdInSections(elf);
    // The segments of a debug file point to bytes that it does not have.
    return id.empty() ? buildIdInSegments(elf) : id;
}

debug_link_t readDebugLink(Elf* elf)
{
    const std::span<const std::byte> bytes = rawBytes(findSection(elf, ".gnu_debuglink"));
    debug_link_t link;
    link.name = leadingText(bytes);
    const std::size_t crcAt = (link.name.size() + 4) / 4 * 4;
    if (link.name.empty() || bytes.size() < crcAt + 4 || link.name.find('/') != std::string::npos)
        return {};
    for (std::size_t i = 0; i < 4; ++i) {
        const std::size_t place = isBigEndian(elf) ? i : 3 - i;
        link.crc = link.crc << 8 | std::to_integer<std::uint32_t>(bytes[crcAt + place]);
    }
    return link;
}

alt_link_t readAltLink(Elf* elf)
{
    const std::span<const std::byte> bytes = rawBytes(findSection(elf, ".gnu_debugaltlink"));
    alt_link_t link;
    link.path = leadingText(bytes);
    if (link.path.empty()) return {};
    const std::span<const std::byte> id = bytes.subspan(link.path.size() + 1);
    if (id.size() <= g_maxIdBytes) link.buildId = hexOf(id);
    return link;
}

} // namespace GLYPH_3_30
