#include "elf_identity.h"

#include "elf_head.h"
#include "regular_file.h"

#include <gelf.h>

#include <algorithm>
#include <memory>
#include <string_view>

namespace SEEK_2_13 {
namespace {

/// Most bytes of notes, debug links and names of sections that are read of one file. What was read
/// stays in memory, and a file can have a million sections over the same bytes.
constexpr std::uint64_t g_maxBytes = std::uint64_t{1} << 25;

struct elf_closer_t {
    void operator()(Elf* elf) const noexcept { ::elf_end(elf); }
};
using ElfPtr = std::unique_ptr<Elf, elf_closer_t>;

std::span<const std::byte> bytesOf(const Elf_Data* data)
{
    if (data == nullptr || data->d_buf == nullptr) return {};
    return {static_cast<const std::byte*>(data->d_buf), data->d_size};
}

bool hasBytes(const GElf_Shdr& header)
{
    return header.sh_type != SHT_NOBITS && header.sh_size != 0;
}

std::size_t noteAlign(std::uint64_t align)
{
    return align == 8 ? 8 : 4;
}

/// The text from `offset` on; empty when it has no end.
std::string_view textAt(std::span<const std::byte> bytes, std::uint64_t offset)
{
    if (offset >= bytes.size()) return {};
    const std::string_view rest(reinterpret_cast<const char*>(bytes.data()) + offset,
                                bytes.size() - offset);
    const std::size_t end = rest.find('\0');
    return end == std::string_view::npos ? std::string_view() : rest.substr(0, end);
}

class IdentityReader {
public:
    IdentityReader(Elf* elf, bool isLittle) : m_elf(elf), m_isLittle(isLittle) {}

    elf_identity_t read()
    {
        readSections();
        // The segments of a debug file point to bytes that it does not have.
        if (m_identity.buildId.empty()) readSegments();
        return std::move(m_identity);
    }

private:
    void readSections();
    void readSection(Elf_Scn* section, const GElf_Shdr& header, std::string_view name);
    void readSegments();
    void readDebugLink(std::span<const std::byte> bytes);
    /// A section's bytes as the file has them.
    std::span<const std::byte> rawBytes(Elf_Scn* section, const GElf_Shdr& header);
    bool mayRead(std::uint64_t bytes);

    Elf* m_elf;
    std::uint64_t m_bytesLeft = g_maxBytes;
    bool m_isLittle;
    elf_identity_t m_identity;
};

bool IdentityReader::mayRead(std::uint64_t bytes)
{
    if (bytes > m_bytesLeft) return false;
    m_bytesLeft -= bytes;
    return true;
}

std::span<const std::byte> IdentityReader::rawBytes(Elf_Scn* section, const GElf_Shdr& header)
{
    if (!hasBytes(header) || !mayRead(header.sh_size)) return {};
    return bytesOf(::elf_rawdata(section, nullptr));
}

void IdentityReader::readSections()
{
    std::size_t namesIndex = 0;
    GElf_Shdr header;
    std::span<const std::byte> names;
    if (::elf_getshdrstrndx(m_elf, &namesIndex) == 0) {
        Elf_Scn* section = ::elf_getscn(m_elf, namesIndex);
        if (section != nullptr && ::gelf_getshdr(section, &header) != nullptr)
            names = rawBytes(section, header);
    }
    for (Elf_Scn* section = nullptr; (section = ::elf_nextscn(m_elf, section)) != nullptr;)
        if (::gelf_getshdr(section, &header) != nullptr)
            readSection(section, header, textAt(names, header.sh_name));
}

void IdentityReader::readSection(Elf_Scn* section, const GElf_Shdr& header, std::string_view name)
{
    if (header.sh_type == SHT_NOTE && m_identity.buildId.empty())
        m_identity.buildId =
            buildIdInNotes(rawBytes(section, header), m_isLittle, noteAlign(header.sh_addralign));
    else if (name == ".gnu_debuglink")
        readDebugLink(rawBytes(section, header));
    else if (header.sh_type == SHT_SYMTAB || name == ".debug_info" || name == ".zdebug_info")
        m_identity.hasSymbols = m_identity.hasSymbols || hasBytes(header);
}

void IdentityReader::readSegments()
{
    std::size_t count = 0;
    if (::elf_getphdrnum(m_elf, &count) != 0) return;
    for (std::size_t i = 0; i < count && m_identity.buildId.empty(); ++i) {
        GElf_Phdr header;
        if (::gelf_getphdr(m_elf, static_cast<int>(i), &header) == nullptr) return;
        if (header.p_type != PT_NOTE || !mayRead(header.p_filesz)) continue;
        const Elf_Data* notes = ::elf_getdata_rawchunk(
            m_elf, static_cast<std::int64_t>(header.p_offset), header.p_filesz, ELF_T_BYTE);
        m_identity.buildId = buildIdInNotes(bytesOf(notes), m_isLittle, noteAlign(header.p_align));
    }
}

void IdentityReader::readDebugLink(std::span<const std::byte> bytes)
{
    // A name, zeros up to a multiple of 4, the CRC in the byte order of the file.
    const std::string_view name = textAt(bytes, 0);
    const std::size_t crcAt = (name.size() + 4) / 4 * 4;
    if (name.empty() || name.find('/') != std::string_view::npos || bytes.size() < crcAt + 4)
        return;
    m_identity.debugLink = name;
    for (std::size_t i = 0; i < 4; ++i)
        m_identity.linkCrc = m_identity.linkCrc << 8 | std::to_integer<std::uint32_t>(
                                                           bytes[crcAt + (m_isLittle ? 3 - i : i)]);
}

} // namespace

refusal_t readElfIdentity(const std::string& path, elf_identity_t& identity, std::string& detail)
{
    RegularFile file;
    const refusal_t refusal = file.open(path, detail);
    if (refusal != refusal_t::none) return refusal;
    elf_head_t head;
    if (!readElfHead(file, head, detail) || !isWithinLimits(file, head, detail))
        return refusal_t::unreadable;
    ::elf_version(EV_CURRENT);
    const ElfPtr elf(::elf_begin(file.descriptor(), ELF_C_READ, nullptr));
    if (!elf || ::elf_kind(elf.get()) != ELF_K_ELF) {
        detail = "damaged ELF file";
        return refusal_t::unreadable;
    }
    identity = IdentityReader(elf.get(), head.isLittle).read();
    return refusal_t::none;
}

} // namespace SEEK_2_13
