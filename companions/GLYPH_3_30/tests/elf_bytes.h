#pragma once

#include <GLYPH_3_30/module_symbol_bank.h>

#include <gtest/gtest.h>

#include <elf.h>

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

namespace glyph_test {

/// Writes an ELF file of loadable segments alone: no sections, no symbols.
class ElfBytes {
public:
    void addSegment(std::uint64_t address, const std::string& content, bool isExecutable)
    {
        m_segments.push_back({address, content, isExecutable});
    }

    std::string bytes() const
    {
        Elf64_Ehdr header = {};
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_ident[EI_CLASS] = ELFCLASS64;
        header.e_ident[EI_DATA] = ELFDATA2LSB;
        header.e_ident[EI_VERSION] = EV_CURRENT;
        header.e_type = ET_EXEC;
        header.e_machine = EM_X86_64;
        header.e_version = EV_CURRENT;
        header.e_phoff = sizeof header;
        header.e_ehsize = sizeof header;
        header.e_phentsize = sizeof(Elf64_Phdr);
        header.e_phnum = static_cast<Elf64_Half>(m_segments.size());
        header.e_shentsize = sizeof(Elf64_Shdr);
        std::string headers = textOf(header);
        std::string contents;
        const std::size_t first = sizeof header + m_segments.size() * sizeof(Elf64_Phdr);
        for (const segment_t& segment : m_segments) {
            Elf64_Phdr row = {};
            row.p_type = PT_LOAD;
            row.p_flags = segment.isExecutable ? PF_R | PF_X : PF_R;
            row.p_offset = first + contents.size();
            row.p_vaddr = segment.address;
            row.p_filesz = segment.content.size();
            row.p_memsz = segment.content.size();
            headers += textOf(row);
            contents += segment.content;
        }
        return headers + contents;
    }

    GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank> bank() const
    {
        const std::string content = bytes();
        std::string fault;
        const auto image =
            GLYPH_3_30::IModuleImage::create(std::as_bytes(std::span(content)), 0, "bytes", &fault);
        EXPECT_TRUE(image) << fault;
        GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank> bank;
        EXPECT_EQ(GLYPH_3_30::IModuleSymbolBank::create(bank, image, nullptr, true, ""),
                  GLYPH_3_30::status::success);
        return bank;
    }

private:
    struct segment_t {
        std::uint64_t address;
        std::string content;
        bool isExecutable;
    };

    template <class T>
    static std::string textOf(const T& value)
    {
        return {reinterpret_cast<const char*>(&value), sizeof value};
    }

    std::vector<segment_t> m_segments;
};

} // namespace glyph_test
