#pragma once

#include <elf.h>

#include <cstring>
#include <string>

namespace samplefold_test {

/// Head of an ELF shared library for this machine.
inline std::string nativeImageBytes()
{
    Elf64_Ehdr head{};
    std::memcpy(head.e_ident, ELFMAG, SELFMAG);
    head.e_ident[EI_CLASS] = ELFCLASS64;
    head.e_ident[EI_DATA] = ELFDATA2LSB;
    head.e_ident[EI_VERSION] = EV_CURRENT;
    head.e_type = ET_DYN;
    head.e_machine = EM_X86_64;
    head.e_version = EV_CURRENT;
    head.e_ehsize = sizeof head;
    std::string bytes(sizeof head, '\0');
    std::memcpy(bytes.data(), &head, sizeof head);
    return bytes;
}

} // namespace samplefold_test
