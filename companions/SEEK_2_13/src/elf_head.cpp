#include "elf_head.h"

#include <elf.h>

#include <array>
#include <cstring>

namespace SEEK_2_13 {
namespace {

/// Most sections of a file. An ELF library takes some 200 bytes of memory for each.
constexpr std::uint64_t g_maxSections = std::uint64_t{1} << 20;

/// The number at `offset` in the byte order of the file.
template <class Number>
Number numberAt(std::span<const std::byte> bytes, std::size_t offset, bool isLittle)
{
    Number number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i) {
        const std::size_t place = isLittle ? sizeof number - 1 - i : i;
        number = static_cast<Number>(static_cast<std::uint64_t>(number) << 8 |
                                     std::to_integer<std::uint64_t>(bytes[offset + place]));
    }
    return number;
}

/// Number of sections of a file that has more than its head can say, from its first section.
bool readExtendedCount(const RegularFile& file, const elf_head_t& head, std::uint64_t& count)
{
    std::array<std::byte, sizeof(Elf64_Shdr)> section{};
    const std::size_t size = head.is64 ? sizeof(Elf64_Shdr) : sizeof(Elf32_Shdr);
    if (file.readAt(std::span(section).first(size), head.sectionOffset) !=
        static_cast<ssize_t>(size))
        return false;
    count = head.is64
                ? numberAt<std::uint64_t>(section, offsetof(Elf64_Shdr, sh_size), head.isLittle)
                : numberAt<std::uint32_t>(section, offsetof(Elf32_Shdr, sh_size), head.isLittle);
    return true;
}

} // namespace

bool readElfHead(const RegularFile& file, elf_head_t& head, std::string& detail)
{
    std::array<std::byte, sizeof(Elf64_Ehdr)> bytes{};
    const ssize_t got = file.readAt(bytes, 0);
    if (got < 0) {
        detail = std::strerror(errno);
        return false;
    }
    const auto identAt = [&bytes](std::size_t i) { return std::to_integer<int>(bytes[i]); };
    detail = "not an ELF file";
    if (got < EI_NIDENT || std::memcmp(bytes.data(), ELFMAG, SELFMAG) != 0) return false;
    head.is64 = identAt(EI_CLASS) == ELFCLASS64;
    head.isLittle = identAt(EI_DATA) == ELFDATA2LSB;
    if (!head.is64 && identAt(EI_CLASS) != ELFCLASS32) return false;
    if (!head.isLittle && identAt(EI_DATA) != ELFDATA2MSB) return false;
    detail = "cut within its head";
    if (got < static_cast<ssize_t>(head.is64 ? sizeof(Elf64_Ehdr) : sizeof(Elf32_Ehdr)))
        return false;
    const auto shortAt = [&](std::size_t offset) {
        return numberAt<std::uint16_t>(bytes, offset, head.isLittle);
    };
    head.type = shortAt(offsetof(Elf64_Ehdr, e_type));
    head.machine = shortAt(offsetof(Elf64_Ehdr, e_machine));
    head.sectionCount =
        shortAt(head.is64 ? offsetof(Elf64_Ehdr, e_shnum) : offsetof(Elf32_Ehdr, e_shnum));
    head.sectionOffset =
        head.is64 ? numberAt<std::uint64_t>(bytes, offsetof(Elf64_Ehdr, e_shoff), head.isLittle)
                  : numberAt<std::uint32_t>(bytes, offsetof(Elf32_Ehdr, e_shoff), head.isLittle);
    detail.clear();
    return true;
}

bool isWithinLimits(const RegularFile& file, const elf_head_t& head, std::string& detail)
{
    if (head.sectionOffset == 0) return true;
    std::uint64_t count = head.sectionCount;
    detail = "its section table lies outside of it";
    if (head.sectionOffset >= file.size()) return false;
    if (count == 0 && !readExtendedCount(file, head, count)) return false;
    const std::uint64_t entry = head.is64 ? sizeof(Elf64_Shdr) : sizeof(Elf32_Shdr);
    if (count > (file.size() - head.sectionOffset) / entry) return false;
    detail = "it claims " + std::to_string(count) + " sections";
    if (count > g_maxSections) return false;
    detail.clear();
    return true;
}

} // namespace SEEK_2_13
