#include "unwind/code_file.h"

#include "unwind/slim_image.h"

#include <toolbelt2/regular_file.h>

#include <gelf.h>
#include <libelf.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace samplefold::unwind {
namespace {

/// Largest table that is read: a sparse file may claim far more than there is memory.
constexpr std::uint64_t g_maxTableBytes = std::uint64_t{1} << 30;
/// Most parts of a file that are looked at.
constexpr std::size_t g_maxParts = 1024;
/// `.eh_frame_hdr` is the index of `.eh_frame`.
constexpr std::array<std::string_view, 3> g_tables{".eh_frame", ".eh_frame_hdr", ".debug_frame"};

/// A file and its ELF descriptor, ended together.
class OpenElf {
public:
    explicit OpenElf(const std::string& path) : m_file(path)
    {
        if (!m_file.isOpen()) return;
        ::elf_version(EV_CURRENT);
        m_elf = ::elf_begin(m_file.descriptor(), ELF_C_READ, nullptr);
    }
    ~OpenElf()
    {
        if (m_elf != nullptr) ::elf_end(m_elf);
    }
    OpenElf(const OpenElf&) = delete;
    OpenElf& operator=(const OpenElf&) = delete;

    ::Elf* get() const { return m_elf; }

private:
    tb2::regular_file_t m_file;
    ::Elf* m_elf = nullptr;
};

bool isOfThisMachine(::Elf* file)
{
    GElf_Ehdr header;
    return ::elf_kind(file) == ELF_K_ELF && ::gelf_getehdr(file, &header) != nullptr &&
           header.e_machine == EM_X86_64 && header.e_ident[EI_CLASS] == ELFCLASS64 &&
           (header.e_type == ET_EXEC || header.e_type == ET_DYN);
}

/// Expands a compressed section, unless that would be too large.
bool expand(Elf_Scn* section, GElf_Shdr& header)
{
    if ((header.sh_flags & SHF_COMPRESSED) == 0) return true;
    GElf_Chdr packed;
    return ::gelf_getchdr(section, &packed) != nullptr && packed.ch_size <= g_maxTableBytes &&
           ::elf_compress(section, 0, 0) >= 0 && ::gelf_getshdr(section, &header) != nullptr;
}

bool readTable(Elf_Scn* section, GElf_Shdr header, SlimSection& table)
{
    if (header.sh_type == SHT_NOBITS || header.sh_size > g_maxTableBytes) return false;
    if (!expand(section, header)) return false;
    const Elf_Data* const data = ::elf_rawdata(section, nullptr);
    if (data == nullptr || data->d_buf == nullptr) return false;
    const auto* const bytes = static_cast<const std::byte*>(data->d_buf);
    table.type = header.sh_type;
    table.flags = header.sh_flags;
    table.address = header.sh_addr;
    table.bytes.assign(bytes, bytes + data->d_size);
    return true;
}

std::vector<SlimSection> readTables(::Elf* file)
{
    std::vector<SlimSection> tables;
    std::size_t names = 0;
    if (::elf_getshdrstrndx(file, &names) != 0) return tables;
    for (Elf_Scn* section = ::elf_nextscn(file, nullptr); section != nullptr;
         section = ::elf_nextscn(file, section)) {
        GElf_Shdr header;
        if (::gelf_getshdr(section, &header) == nullptr) continue;
        const char* const name = ::elf_strptr(file, names, header.sh_name);
        if (name == nullptr) continue;
        const bool isWanted = std::find(g_tables.begin(), g_tables.end(), name) != g_tables.end();
        const bool isThere = std::any_of(tables.begin(), tables.end(),
                                         [&](const SlimSection& t) { return t.name == name; });
        SlimSection table;
        table.name = name;
        if (isWanted && !isThere && readTable(section, header, table))
            tables.push_back(std::move(table));
    }
    return tables;
}

} // namespace

std::unique_ptr<CodeFile> CodeFile::open(const std::string& path)
{
    const OpenElf file(path);
    std::unique_ptr<CodeFile> code(new CodeFile);
    if (file.get() == nullptr || !code->read(file.get())) return nullptr;
    return code;
}

CodeFile::~CodeFile()
{
    m_rules.reset();
    if (m_elf != nullptr) ::elf_end(m_elf);
}

bool CodeFile::read(::Elf* file)
{
    if (!isOfThisMachine(file) || !readParts(file)) return false;
    m_bytes = makeSlimImage(ET_DYN, m_parts, readTables(file));
    m_elf = openImage();
    if (m_elf != nullptr) m_rules = std::make_unique<FrameRules>(m_elf);
    return m_elf != nullptr;
}

bool CodeFile::readParts(::Elf* file)
{
    std::size_t count = 0;
    if (::elf_getphdrnum(file, &count) != 0) return false;
    for (std::size_t i = 0; i < count && m_parts.size() < g_maxParts; ++i) {
        GElf_Phdr part;
        if (::gelf_getphdr(file, static_cast<int>(i), &part) == nullptr) return false;
        if (part.p_type != PT_LOAD) continue;
        m_parts.push_back(part);
        if ((part.p_flags & PF_X) != 0) m_high = std::max(m_high, part.p_vaddr + part.p_memsz);
    }
    if (m_parts.empty()) return false;
    m_low = m_parts.front().p_vaddr & (0 - m_parts.front().p_align);
    return m_low < m_high;
}

/// Pages at the border of two parts may hold bytes of both; the byte itself belongs to one, and
/// where parts overlap, to the one with code.
bool CodeFile::biasOf(std::uint64_t offset, std::uint64_t address, std::uint64_t& bias) const
{
    const Elf64_Phdr* best = nullptr;
    for (const Elf64_Phdr& part : m_parts) {
        if (offset < part.p_offset || offset - part.p_offset >= part.p_filesz) continue;
        if (best == nullptr || (part.p_flags & PF_X) != 0) best = &part;
    }
    if (best == nullptr) return false;
    bias = address - (best->p_vaddr + (offset - best->p_offset));
    return true;
}

::Elf* CodeFile::openImage() const
{
    // libelf takes the bytes for writable, but does not write to them.
    auto* const bytes = reinterpret_cast<char*>(const_cast<std::byte*>(m_bytes.data()));
    return ::elf_memory(bytes, m_bytes.size());
}

} // namespace samplefold::unwind
