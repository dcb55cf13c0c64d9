// Images that were damaged or made to do harm: an answer or none, soon and with little memory.

#include "elf_bytes.h"
#include "explore.h"
#include "sample_program.h"
#include "tool.h"
#include "walk.h"

#include <gtest/gtest.h>

#include <elf.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <iterator>

namespace {

using namespace pathnav_test;

std::string smallFile()
{
    const std::string path = glyph_test::compile("small", "-O1 -nostartfiles -Wl,-e,exported");
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// Explores the code of an image; how many blocks it has, 0 when it is refused.
std::uint64_t exploreImage(const std::string& content)
{
    const auto image = GLYPH_3_30::IModuleImage::create(std::as_bytes(std::span(content)), 0, "x");
    if (image == nullptr) return 0;
    GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank> bank;
    GLYPH_3_30::IModuleSymbolBank::create(bank, image, nullptr, true, "");
    const auto source = pathnav_3::IGLYPHDataSource::create(bank, false, ~std::uint64_t{0});
    std::vector<std::uint64_t> places{0, 0x1000, 0x1001, ~std::uint64_t{0}};
    const auto symbols = bank->getSymbols();
    for (std::size_t i = 0; i < symbols.size() && i < 8; ++i)
        places.push_back(symbols[i].start - bank->getPreferredLoadAddress());
    return explore(source, places, 400);
}

template <class Header>
Header headerAt(const std::string& content, std::size_t place)
{
    Header header;
    std::memcpy(&header, content.data() + place, sizeof header);
    return header;
}

template <class Header>
void setHeaderAt(std::string& content, std::size_t place, const Header& header)
{
    std::memcpy(content.data() + place, &header, sizeof header);
}

TEST(Damaged, everyByteOfTheHeadersMayBeFlipped)
{
    std::string content = smallFile();
    ASSERT_GT(exploreImage(content), 50u);
    const auto header = headerAt<Elf64_Ehdr>(content, 0);
    const auto flipAll = [&](std::size_t first, std::size_t size) {
        for (std::size_t i = first; i < first + size; ++i) {
            for (const char flip : {'\x01', '\x7f', '\xff'}) {
                const char before = content[i];
                content[i] = static_cast<char>(content[i] ^ flip);
                exploreImage(content);
                content[i] = before;
            }
        }
    };
    flipAll(0, sizeof header + header.e_phnum * sizeof(Elf64_Phdr));
    flipAll(header.e_shoff, header.e_shnum * sizeof(Elf64_Shdr));
}

TEST(Damaged, symbolsMayClaimAnySize)
{
    const std::string sound = smallFile();
    const auto header = headerAt<Elf64_Ehdr>(sound, 0);
    for (const std::uint64_t size :
         {std::uint64_t{0}, std::uint64_t{1} << 40, ~std::uint64_t{0}, std::uint64_t{1}}) {
        std::string content = sound;
        int changed = 0;
        for (std::size_t i = 0; i < header.e_shnum; ++i) {
            const auto section =
                headerAt<Elf64_Shdr>(content, header.e_shoff + i * sizeof(Elf64_Shdr));
            if (section.sh_type != SHT_SYMTAB) continue;
            for (std::size_t at = 0; at + sizeof(Elf64_Sym) <= section.sh_size;
                 at += sizeof(Elf64_Sym)) {
                auto symbol = headerAt<Elf64_Sym>(content, section.sh_offset + at);
                symbol.st_size = size;
                setHeaderAt(content, section.sh_offset + at, symbol);
                ++changed;
            }
        }
        EXPECT_GT(changed, 20);
        EXPECT_GT(exploreImage(content), 50u) << size;
    }
}

TEST(Damaged, sectionsMayLieAnywhere)
{
    const std::string sound = smallFile();
    const auto header = headerAt<Elf64_Ehdr>(sound, 0);
    for (std::size_t i = 0; i < header.e_shnum; ++i) {
        for (const std::uint64_t value :
             {std::uint64_t{1} << 40, ~std::uint64_t{0}, std::uint64_t{1} << 63}) {
            const std::size_t place = header.e_shoff + i * sizeof(Elf64_Shdr);
            for (const int field : {0, 1, 2}) {
                std::string content = sound;
                auto section = headerAt<Elf64_Shdr>(content, place);
                (field == 0   ? section.sh_addr
                 : field == 1 ? section.sh_size
                              : section.sh_offset) = value;
                setHeaderAt(content, place, section);
                exploreImage(content);
            }
        }
    }
}

TEST(Damaged, aHugeSectionWithFewBytesIsWalkedAtOnce)
{
    std::string content = smallFile();
    const auto header = headerAt<Elf64_Ehdr>(content, 0);
    for (std::size_t i = 0; i < header.e_shnum; ++i) {
        const std::size_t place = header.e_shoff + i * sizeof(Elf64_Shdr);
        auto section = headerAt<Elf64_Shdr>(content, place);
        if ((section.sh_flags & SHF_EXECINSTR) != 0) section.sh_size = std::uint64_t{1} << 50;
        setHeaderAt(content, place, section);
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_GT(exploreImage(content), 50u);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(Damaged, thousandsOfSegmentsOverTheSameBytesAreWalkedAtOnce)
{
    // All of them claim the whole file; the place in memory differs.
    glyph_test::ElfBytes elf;
    for (std::uint64_t i = 0; i < 1000; ++i)
        elf.addSegment(0x400000 + i * 0x1000, "\x90\xc3", true);
    std::string content = elf.bytes();
    for (std::size_t i = 0; i < 1000; ++i) {
        const std::size_t place = sizeof(Elf64_Ehdr) + i * sizeof(Elf64_Phdr);
        auto segment = headerAt<Elf64_Phdr>(content, place);
        segment.p_offset = 0;
        segment.p_filesz = segment.p_memsz = content.size();
        setHeaderAt(content, place, segment);
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_GT(exploreImage(content), 50u);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

} // namespace
