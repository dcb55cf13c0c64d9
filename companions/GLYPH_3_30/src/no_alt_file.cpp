#include "no_alt_file.h"

#include <elf.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

namespace GLYPH_3_30 {

std::unique_ptr<ElfFile> makeNoAltFile()
{
    static constexpr char names[] = "\0.debug_line\0.shstrtab";
    struct file_t {
        Elf64_Ehdr header = {};
        Elf64_Shdr sections[3] = {};
        char text[sizeof names] = {};
        char line[4] = {};
    } file;
    std::memcpy(file.header.e_ident, ELFMAG, SELFMAG);
    file.header.e_ident[EI_CLASS] = ELFCLASS64;
    file.header.e_ident[EI_DATA] = ELFDATA2LSB;
    file.header.e_ident[EI_VERSION] = EV_CURRENT;
    file.header.e_type = ET_EXEC;
    file.header.e_machine = EM_X86_64;
    file.header.e_version = EV_CURRENT;
    file.header.e_ehsize = sizeof(Elf64_Ehdr);
    file.header.e_shoff = offsetof(file_t, sections);
    file.header.e_shentsize = sizeof(Elf64_Shdr);
    file.header.e_shnum = 3;
    file.header.e_shstrndx = 2;
    file.sections[1].sh_name = 1;
    file.sections[1].sh_type = SHT_PROGBITS;
    file.sections[1].sh_offset = offsetof(file_t, line);
    file.sections[1].sh_size = sizeof file.line;
    file.sections[2].sh_name = sizeof "\0.debug_line";
    file.sections[2].sh_type = SHT_STRTAB;
    file.sections[2].sh_offset = offsetof(file_t, text);
    file.sections[2].sh_size = sizeof names;
    std::memcpy(file.text, names, sizeof names);
    const auto* bytes = reinterpret_cast<const char*>(&file);
    std::string ignored;
    return ElfFile::fromBytes({bytes, bytes + sizeof file}, ignored);
}

} // namespace GLYPH_3_30
