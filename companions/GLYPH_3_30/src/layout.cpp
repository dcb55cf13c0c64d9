#include "layout.h"

#include <gelf.h>

#include <algorithm>

namespace GLYPH_3_30 {
namespace {

/// A system loads no file with more program headers (64 KiB of them).
constexpr std::size_t g_maxSegments = 65536 / sizeof(Elf64_Phdr);
constexpr std::uint64_t g_pageBytes = 4096;

bool isLoadable(const segment_header_t& segment)
{
    return segment.kind == PT_LOAD;
}

/// Whether `value` is among the `size` numbers from `first` on, which may wrap.
bool isWithin(std::uint64_t value, std::uint64_t first, std::uint64_t size)
{
    return value >= first && value - first < size;
}

/// The addresses of a section or segment, cut where they would wrap.
range_t rangeOf(std::uint64_t address, std::uint64_t size)
{
    return {address, address + std::min(size, ~address)};
}

} // namespace

bool Layout::read(const ElfFile& file, std::string& fault)
{
    GElf_Ehdr header;
    if (::gelf_getehdr(file.elf(), &header) == nullptr) {
        fault = std::string("its header cannot be read: ") + ::elf_errmsg(-1);
        return false;
    }
    if (header.e_type != ET_EXEC && header.e_type != ET_DYN) {
        fault = "neither an executable nor a shared object";
        return false;
    }
    m_isFixed = header.e_type == ET_EXEC;
    m_machine = header.e_machine;
    if (!readSegments(file, fault) || !readSections(file.elf(), fault)) return false;
    if (header.e_shnum != 0 && m_sections.empty()) {
        fault = "its section headers lie outside of the file";
        return false;
    }
    if (m_segments.empty() && m_sections.size() < 2) {
        fault = "it has neither segments nor sections";
        return false;
    }
    findLoadAddress();
    indexCode();
    indexFile();
    return true;
}

bool Layout::readSegments(const ElfFile& file, std::string& fault)
{
    Elf* elf = file.elf();
    std::size_t count = 0;
    if (::elf_getphdrnum(elf, &count) != 0 || count > g_maxSegments) {
        fault = "its program headers cannot be read";
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        GElf_Phdr header;
        if (::gelf_getphdr(elf, static_cast<int>(i), &header) == nullptr) {
            fault = "its program headers lie outside of the file";
            return false;
        }
        m_segments.push_back({header.p_type, header.p_flags, header.p_offset, header.p_filesz,
                              header.p_vaddr, header.p_memsz});
        if (isLoadable(m_segments.back()) &&
            (header.p_filesz > file.size() || header.p_offset > file.size() - header.p_filesz)) {
            fault = "a segment ends behind the end of the file";
            return false;
        }
    }
    return true;
}

bool Layout::readSections(Elf* elf, std::string& fault)
{
    std::size_t names = 0;
    std::size_t count = 0;
    if (::elf_getshdrnum(elf, &count) != 0 || ::elf_getshdrstrndx(elf, &names) != 0) {
        fault = "its section headers cannot be read";
        return false;
    }
    const TextTable texts(::elf_getscn(elf, names));
    for (std::size_t i = 0; i < count; ++i) {
        GElf_Shdr header;
        if (::gelf_getshdr(::elf_getscn(elf, i), &header) == nullptr) {
            fault = "its section headers lie outside of the file";
            return false;
        }
        const char* name = texts.at(header.sh_name);
        m_sections.push_back({name != nullptr ? name : "", header.sh_type, header.sh_flags,
                              header.sh_addr, header.sh_size, header.sh_offset});
    }
    return true;
}

void Layout::findLoadAddress()
{
    bool isFound = false;
    for (const segment_header_t& segment : m_segments) {
        if (!isLoadable(segment) || (isFound && segment.address >= m_loadAddress)) continue;
        m_loadAddress = segment.address;
        isFound = true;
    }
    m_loadAddress -= m_loadAddress % g_pageBytes;
}

void Layout::indexCode()
{
    IntervalPainter sections;
    IntervalPainter code;
    for (std::uint32_t i = 0; i < m_sections.size(); ++i) {
        const section_header_t& section = m_sections[i];
        // Thread storage has addresses that belong to what comes behind it.
        if ((section.flags & SHF_ALLOC) == 0 ||
            ((section.flags & SHF_TLS) != 0 && section.type == SHT_NOBITS))
            continue;
        sections.paint(rangeOf(section.address, section.size), i);
        if ((section.flags & SHF_EXECINSTR) != 0)
            code.paint(rangeOf(section.address, section.size), i);
    }
    m_sectionByAddress = sections.take();
    m_code = code.take();
    if (!m_sectionByAddress.pieces().empty()) return;
    for (std::uint32_t i = 0; i < m_segments.size(); ++i)
        if (isLoadable(m_segments[i]) && (m_segments[i].flags & PF_X) != 0)
            code.paint(rangeOf(m_segments[i].address, m_segments[i].memorySize), i);
    m_code = code.take();
}

void Layout::indexFile()
{
    IntervalPainter segments;
    for (auto i = static_cast<std::uint32_t>(m_segments.size()); i-- > 0;) {
        const segment_header_t& segment = m_segments[i];
        if (isLoadable(segment))
            segments.paint(rangeOf(segment.address, std::min(segment.fileSize, segment.memorySize)),
                           i);
    }
    m_inFile = segments.take();
}

const section_header_t* Layout::sectionAt(std::uint64_t address) const noexcept
{
    const piece_t* piece = m_sectionByAddress.find(address);
    return piece != nullptr ? &m_sections[piece->value] : nullptr;
}

bool Layout::isLoaded(std::uint64_t address) const noexcept
{
    return std::any_of(m_segments.begin(), m_segments.end(), [address](const auto& segment) {
        return isLoadable(segment) && isWithin(address, segment.address, segment.memorySize);
    });
}

bool Layout::findCode(std::uint64_t address, range_t& code) const noexcept
{
    const piece_t* piece = m_code.find(address);
    if (piece == nullptr) return false;
    code = {piece->start, piece->end};
    return true;
}

bool Layout::toAddress(std::uint64_t offset, std::uint64_t& address) const noexcept
{
    for (const segment_header_t& segment : m_segments) {
        if (!isLoadable(segment) || !isWithin(offset, segment.offset, segment.fileSize)) continue;
        address = segment.address + (offset - segment.offset);
        return true;
    }
    return false;
}

bool Layout::toOffset(std::uint64_t address, std::uint64_t& offset) const noexcept
{
    file_stretch_t stretch;
    if (!findInFile(address, stretch)) return false;
    offset = stretch.offset;
    return true;
}

bool Layout::findInFile(std::uint64_t address, file_stretch_t& stretch) const noexcept
{
    const piece_t* piece = m_inFile.find(address);
    if (piece == nullptr) return false;
    const segment_header_t& segment = m_segments[piece->value];
    stretch = {segment.offset + (address - segment.address), piece->end - address};
    return true;
}

std::vector<range_t> Layout::codeInFile() const
{
    std::vector<range_t> code;
    auto held = m_inFile.pieces().begin();
    for (const piece_t& piece : m_code.pieces()) {
        while (held != m_inFile.pieces().end() && held->end <= piece.start)
            ++held;
        for (auto part = held; part != m_inFile.pieces().end() && part->start < piece.end; ++part) {
            const range_t range{std::max(part->start, piece.start), std::min(part->end, piece.end)};
            const bool goesOn =
                !code.empty() && code.back().end == range.start && code.back().start >= piece.start;
            if (goesOn)
                code.back().end = range.end;
            else
                code.push_back(range);
        }
    }
    return code;
}

} // namespace GLYPH_3_30
