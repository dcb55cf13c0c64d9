#include "unwind/slim_image.h"

#include <cstring>

namespace samplefold::unwind {
namespace {

/// Appends at a multiple of 16, so that headers can be read where they stand.
class Bytes {
public:
    std::uint64_t add(const void* bytes, std::size_t size)
    {
        m_bytes.resize((m_bytes.size() + 15) / 16 * 16);
        const std::size_t offset = m_bytes.size();
        m_bytes.resize(offset + size);
        if (size != 0) std::memcpy(m_bytes.data() + offset, bytes, size);
        return offset;
    }
    void put(std::size_t offset, const void* bytes, std::size_t size)
    {
        std::memcpy(m_bytes.data() + offset, bytes, size);
    }
    std::vector<std::byte> take() { return std::move(m_bytes); }

private:
    std::vector<std::byte> m_bytes;
};

Elf64_Ehdr fileHeader(std::uint16_t fileType)
{
    Elf64_Ehdr header{};
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = ELFCLASS64;
    header.e_ident[EI_DATA] = ELFDATA2LSB;
    header.e_ident[EI_VERSION] = EV_CURRENT;
    header.e_type = fileType;
    header.e_machine = EM_X86_64;
    header.e_version = EV_CURRENT;
    header.e_ehsize = sizeof header;
    header.e_phentsize = sizeof(Elf64_Phdr);
    header.e_shentsize = sizeof(Elf64_Shdr);
    return header;
}

} // namespace

std::vector<std::byte> makeSlimImage(std::uint16_t fileType, std::span<const Elf64_Phdr> headers,
                                     std::span<const SlimSection> sections)
{
    Bytes image;
    Elf64_Ehdr file = fileHeader(fileType);
    image.add(&file, sizeof file);
    file.e_phoff = image.add(headers.data(), headers.size_bytes());
    file.e_phnum = static_cast<std::uint16_t>(headers.size());

    std::vector<Elf64_Shdr> table(1);
    std::string names(1, '\0');
    const auto begin = [&](const std::string& name, std::uint32_t type) -> Elf64_Shdr& {
        Elf64_Shdr& section = table.emplace_back();
        section.sh_name = static_cast<Elf64_Word>(names.size());
        section.sh_type = type;
        section.sh_addralign = 1;
        names.append(name).push_back('\0');
        return section;
    };
    for (const SlimSection& told : sections) {
        Elf64_Shdr& section = begin(told.name, told.type);
        section.sh_flags = told.flags;
        section.sh_addr = told.address;
        section.sh_size = told.bytes.size();
        section.sh_offset = image.add(told.bytes.data(), told.bytes.size());
    }
    Elf64_Shdr& text = begin(".shstrtab", SHT_STRTAB);
    text.sh_size = names.size();
    text.sh_offset = image.add(names.data(), names.size());

    file.e_shoff = image.add(table.data(), table.size() * sizeof(Elf64_Shdr));
    file.e_shnum = static_cast<std::uint16_t>(table.size());
    file.e_shstrndx = static_cast<std::uint16_t>(table.size() - 1);
    image.put(0, &file, sizeof file);
    return image.take();
}

} // namespace samplefold::unwind
