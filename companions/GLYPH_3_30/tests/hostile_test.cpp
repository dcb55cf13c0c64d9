// Files that were damaged or made to do harm: an answer or a reason, soon and with little memory.

#include "ask_all.h"
#include "sample_program.h"
#include "tool.h"

#include <gtest/gtest.h>

#include <elf.h>
#include <sys/resource.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

namespace {

using namespace GLYPH_3_30;
using namespace glyph_test;

constexpr std::size_t g_places = 24;

std::vector<std::byte> bytesOf(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

/// A small file with debug information that has inlined functions.
const std::vector<std::byte>& smallFile()
{
    static const std::vector<std::byte> s_bytes = [] {
        std::ofstream(scratch() + "tiny.c") << R"(
            static inline __attribute__((always_inline)) int inner(int a) { return a * a + 1; }
            static inline __attribute__((always_inline)) int middle(int a) { return inner(a) ^ 5; }
            int outer(int a) { return a > 3 ? middle(a) : inner(a + 2); }
            void _start(void) { outer(1); for (;;); }
        )";
        const std::string out = scratch() + "tiny";
        EXPECT_TRUE(runTool("gcc -g -O2 -nostdlib -static -fno-asynchronous-unwind-tables -o " +
                            out + " " + scratch() + "tiny.c")
                        .isGood);
        return bytesOf(out);
    }();
    return s_bytes;
}

std::uint64_t peakKibibytes()
{
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::uint64_t>(usage.ru_maxrss);
}

/// Runs `work`, which must be done soon and leave the memory of the process about where it was.
template <class Work>
void expectCheap(const Work& work)
{
    const std::uint64_t before = peakKibibytes();
    const auto start = std::chrono::steady_clock::now();
    work();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    EXPECT_LT(peakKibibytes() - before, std::uint64_t{1} << 20);
}

TEST(Hostile, everyByteOfTheHeadersMayBeFlipped)
{
    const std::vector<std::byte>& sound = smallFile();
    ASSERT_GT(askAll(sound, g_places), 100u);
    Elf64_Ehdr header;
    std::memcpy(&header, sound.data(), sizeof header);
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < sizeof header + header.e_phnum * sizeof(Elf64_Phdr); ++i)
        places.push_back(i);
    for (std::size_t i = 0; i < header.e_shnum * sizeof(Elf64_Shdr); ++i)
        places.push_back(header.e_shoff + i);
    expectCheap([&] {
        std::vector<std::byte> bytes = sound;
        for (const std::size_t place : places)
            for (const unsigned flip : {0x01u, 0x80u, 0xffu}) {
                bytes[place] ^= std::byte(flip);
                askAll(bytes, g_places);
                bytes[place] = sound[place];
            }
    });
}

TEST(Hostile, everyByteOfTheDebugInformationMayBeFlipped)
{
    const std::vector<std::byte>& sound = smallFile();
    Elf64_Ehdr header;
    std::memcpy(&header, sound.data(), sizeof header);
    expectCheap([&] {
        std::vector<std::byte> bytes = sound;
        for (std::size_t i = 0; i < header.e_shnum; ++i) {
            Elf64_Shdr section;
            std::memcpy(&section, sound.data() + header.e_shoff + i * sizeof section,
                        sizeof section);
            if (section.sh_flags & SHF_ALLOC || section.sh_type == SHT_NOBITS) continue;
            for (std::size_t at = section.sh_offset; at < section.sh_offset + section.sh_size; ++at)
                for (const unsigned flip : {0x01u, 0xffu}) {
                    bytes[at] ^= std::byte(flip);
                    askAll(bytes, g_places);
                    bytes[at] = sound[at];
                }
        }
    });
}

TEST(Hostile, randomDamageOfALargerFileIsSurvived)
{
    const std::vector<std::byte> sound = bytesOf(compile("damaged", "-O2 -g"));
    std::mt19937 random(7);
    expectCheap([&] {
        for (int round = 0; round < 60; ++round) {
            std::vector<std::byte> bytes = sound;
            for (int i = 0; i < 40; ++i)
                bytes[random() % bytes.size()] = std::byte(random() & 0xff);
            // The magic number stays, so that there is something to read.
            std::copy_n(sound.begin(), sizeof(Elf64_Ehdr), bytes.begin());
            askAll(bytes, 200);
        }
    });
}

/// An executable of a section of code and the sections of `assembly`.
std::string assemble(const std::string& name, const std::string& assembly)
{
    const std::string base = scratch() + name;
    std::ofstream(base + ".s") << ".text\n.globl _start\n_start: .skip 64, 0x90\nend_of_text:\n"
                               << assembly;
    EXPECT_TRUE(
        runTool("as " + base + ".s -o " + base + ".o && ld " + base + ".o -o " + base).isGood);
    return base;
}

/// A unit of version 4 with the abbreviations 1: the unit, 2: a function with children, 3: a block
/// with children and nothing else, 4: an entry whose sibling is told.
std::string unitWith(const std::string& entries)
{
    return R"(
        .section .debug_abbrev,"",@progbits
        .uleb128 1, 0x11
        .byte 1
        .uleb128 0x11, 0x01, 0x12, 0x07, 0, 0
        .uleb128 2, 0x2e
        .byte 1
        .uleb128 0x11, 0x01, 0x12, 0x07, 0, 0
        .uleb128 3, 0x0b
        .byte 1
        .uleb128 0, 0
        .uleb128 4, 0x0b
        .byte 1
        .uleb128 0x01, 0x13, 0, 0
        .byte 0
        .section .debug_info,"",@progbits
        unit: .long end_of_unit - 1f
        1: .value 4
        .long 0
        .byte 8
        .uleb128 1
        .quad _start, end_of_text - _start
    )" + entries +
           "\n.byte 0\nend_of_unit:\n";
}

TEST(Hostile, entriesThatNestWithoutEndEndTheUnit)
{
    const std::string path =
        assemble("nested", unitWith(".uleb128 2\n.quad _start, 8\n.fill 3000000, 1, 3"));
    expectCheap([&] {
        std::vector<source_frame_t> frames;
        const auto bank = openBank(path);
        const std::uint64_t start = codeOf(path).at(0).start;
        ASSERT_TRUE(bank->findFrames(start, frames));
        EXPECT_EQ(frames.size(), 1u);
        EXPECT_EQ(bank->getFaults(), std::vector<std::string>{"the debug information is damaged"});
    });
}

TEST(Hostile, entriesBesideOneAnotherAtADepthAreReadInLinearTime)
{
    std::string entries = ".fill 200, 1, 3\n"; // blocks in blocks, then many blocks in the last
    entries += ".rept 1000000\n.byte 3, 0\n.endr\n.fill 200, 1, 0\n";
    const std::string path = assemble("broad", unitWith(entries));
    expectCheap([&] {
        std::vector<source_frame_t> frames;
        const auto bank = openBank(path);
        bank->findFrames(codeOf(path).at(0).start, frames);
    });
}

TEST(Hostile, siblingsThatLeadInACircleEndTheUnit)
{
    const std::string path = assemble("circle", unitWith("2: .uleb128 2\n.quad _start, 8\n.byte 0\n"
                                                         "3: .uleb128 4\n.long 3b - unit\n.byte 0\n"
                                                         ".uleb128 4\n.long 2b - unit\n.byte 0\n"));
    expectCheap([&] {
        std::vector<source_frame_t> frames;
        const auto bank = openBank(path);
        ASSERT_TRUE(bank->findFrames(codeOf(path).at(0).start, frames));
        EXPECT_EQ(bank->getFaults(), std::vector<std::string>{"the debug information is damaged"});
    });
}

TEST(Hostile, unitsThatShareOneLargeTableOfAbbreviationsAreLimited)
{
    // 40,000 units, and each of them would go through 40,000 abbreviations.
    const std::string path = assemble("shared_table", R"(
        .section .debug_abbrev,"",@progbits
        .rept 40000
        .uleb128 7, 0x11
        .byte 0
        .uleb128 0, 0
        .endr
        .byte 0
        .section .debug_info,"",@progbits
        .rept 40000
        .long 8
        .value 4
        .long 0
        .byte 8
        .uleb128 9
        .endr
    )");
    expectCheap([&] {
        std::vector<source_frame_t> frames;
        const auto bank = openBank(path);
        EXPECT_FALSE(bank->findFrames(codeOf(path).at(0).start, frames));
        EXPECT_EQ(bank->getFaults(),
                  std::vector<std::string>{
                      "the debug information has more abbreviations than it can need"});
    });
}

TEST(Hostile, aSectionThatClaimsToUnpackToMoreThanItCanIsRefused)
{
    const std::string path = assemble("unpacks", R"(
        .section .debug_info,"",@progbits
        .long 1, 0
        .quad 0x10000000000, 1
        .skip 64
    )");
    // The mark of a packed section is no flag that the assembler sets.
    std::vector<std::byte> bytes = bytesOf(path);
    Elf64_Ehdr header;
    std::memcpy(&header, bytes.data(), sizeof header);
    for (std::size_t i = 0; i < header.e_shnum; ++i) {
        Elf64_Shdr section;
        std::byte* place = bytes.data() + header.e_shoff + i * sizeof section;
        std::memcpy(&section, place, sizeof section);
        if (section.sh_size != 88) continue;
        section.sh_flags |= SHF_COMPRESSED;
        std::memcpy(place, &section, sizeof section);
    }
    expectCheap([&] {
        SymMgrObjectPtr<IModuleSymbolBank> bank;
        std::vector<source_frame_t> frames;
        ASSERT_EQ(IModuleSymbolBank::create(bank, IModuleImage::create(bytes, 0, "unpacks"),
                                            nullptr, true, ""),
                  status::success);
        EXPECT_FALSE(bank->findFrames(codeOf(path).at(0).start, frames));
        ASSERT_EQ(bank->getFaults().size(), 1u);
        EXPECT_EQ(bank->getFaults()[0],
                  "unpacks: its debug information is larger than the 4096 MiB that are read");
    });
}

TEST(Hostile, tablesOfFilesWithoutBytesBehindThemAreRefused)
{
    // Version 5: folders and files of no columns, two thousand million of each.
    const std::string path = assemble("files", R"(
        .section .debug_abbrev,"",@progbits
        .uleb128 1, 0x11
        .byte 0
        .uleb128 0x11, 0x01, 0x12, 0x07, 0x10, 0x17, 0, 0
        .byte 0
        .section .debug_info,"",@progbits
        .long end_of_unit - 1f
        1: .value 4
        .long 0
        .byte 8
        .uleb128 1
        .quad _start, end_of_text - _start
        .long 0
        end_of_unit:
        .section .debug_line,"",@progbits
        .long end_of_lines - 1f
        1: .value 5
        .byte 8, 0
        .long end_of_header - 2f
        2: .byte 1, 1, 1, 0xfb, 14, 1
        .byte 0
        .uleb128 2000000000
        .byte 0
        .uleb128 2000000000
        end_of_header:
        .byte 0, 9, 2
        .quad _start
        .byte 1, 0x20, 0x20
        end_of_lines:
    )");
    expectCheap([&] {
        std::vector<source_frame_t> frames;
        openBank(path)->findFrames(codeOf(path).at(0).start, frames);
    });
}

TEST(Hostile, lineProgramsThatOverlapAreLimited)
{
    // 4,000 units; the line program of each is all of the same megabyte but some bytes.
    std::string units;
    for (int i = 0; i < 4000; ++i)
        units += ".long 29\n.value 4\n.long 0\n.byte 8\n.uleb128 1\n.quad _start + " +
                 std::to_string(i % 64) + ", 1\n.long " + std::to_string(4 * (i % 2000)) +
                 "\n.skip 1\n";
    const std::string path = assemble("overlap", R"(
        .section .debug_abbrev,"",@progbits
        .uleb128 1, 0x11
        .byte 0
        .uleb128 0x11, 0x01, 0x12, 0x07, 0x10, 0x17, 0, 0
        .byte 0
        .section .debug_line,"",@progbits
        .fill 2000, 4, 1000000
        .fill 1000000, 1, 0x20
        .section .debug_info,"",@progbits
    )" + units);
    expectCheap([&] {
        std::vector<source_frame_t> frames;
        const auto bank = openBank(path);
        for (std::uint64_t i = 0; i < 64; ++i)
            bank->findFrames(codeOf(path).at(0).start + i, frames);
        EXPECT_EQ(bank->getFaults(),
                  std::vector<std::string>{"a table of source lines is damaged or too large"});
    });
}

TEST(Hostile, aSharedDebugFileThatIsAPipeIsNotWaitedFor)
{
    ASSERT_TRUE(runTool("mkfifo " + scratch() + "alt_pipe").isGood);
    const std::string path = assemble("points_to_pipe", unitWith("") + R"(
        .section .gnu_debugaltlink,"",@progbits
        .string "alt_pipe"
        .byte 1, 2, 3, 4
    )");
    const auto bank = openBank(path);
    std::vector<source_frame_t> frames;
    bank->findFrames(codeOf(path).at(0).start, frames);
    EXPECT_EQ(bank->getFaults(),
              std::vector<std::string>{
                  path + ": the shared debug file alt_pipe is not there or does not fit"});
}

/// A sparse file of `size` bytes that begins with a header of `count` sections, the first of which
/// is at once behind it.
std::string sparseFile(const std::string& name, std::uint64_t size, std::uint16_t count,
                       const std::vector<Elf64_Shdr>& sections)
{
    Elf64_Ehdr header = {};
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = ELFCLASS64;
    header.e_ident[EI_DATA] = ELFDATA2LSB;
    header.e_ident[EI_VERSION] = EV_CURRENT;
    header.e_type = ET_DYN;
    header.e_machine = EM_X86_64;
    header.e_version = EV_CURRENT;
    header.e_ehsize = sizeof header;
    header.e_shoff = sizeof header;
    header.e_shentsize = sizeof(Elf64_Shdr);
    header.e_shnum = count;
    std::ofstream out(scratch() + name, std::ios::binary);
    out.write(reinterpret_cast<const char*>(&header), sizeof header);
    out.write(reinterpret_cast<const char*>(sections.data()),
              static_cast<std::streamsize>(sections.size() * sizeof sections[0]));
    out.close();
    std::filesystem::resize_file(scratch() + name, size);
    return scratch() + name;
}

TEST(Hostile, moreSectionsThanAnyFileNeedsAreRefused)
{
    Elf64_Shdr first = {};
    first.sh_size = 50000000;
    const std::string path =
        sparseFile("sections", sizeof(Elf64_Ehdr) + first.sh_size * sizeof first, 0, {first});
    expectCheap([&] {
        std::string fault;
        EXPECT_FALSE(IModuleImage::create(path.c_str(), 0, false, &fault));
        EXPECT_EQ(fault, path + ": it claims to have more than 1048576 sections");
    });
}

TEST(Hostile, notesBeyondReasonAreNotReadForABuildId)
{
    constexpr std::uint16_t count = 3000;
    Elf64_Shdr note = {};
    note.sh_type = SHT_NOTE;
    note.sh_offset = sizeof(Elf64_Ehdr) + count * sizeof note;
    note.sh_size = 1 << 20;
    std::vector<Elf64_Shdr> sections(count, note);
    sections[0] = {};
    const std::string path = sparseFile("notes", note.sh_offset + note.sh_size, count, sections);
    expectCheap([&] {
        const auto image = openImage(path);
        ASSERT_TRUE(image);
        EXPECT_EQ(image->getBuildId(), "");
    });
}

TEST(Hostile, aNameThatWouldGrowBeyondReasonStaysMangled)
{
    // Each pair is made of two of the one before it.
    const std::string digits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const auto nameOf = [&](std::size_t pairs) {
        std::string name = "_Z1fSt4pairIiiE";
        for (std::size_t i = 0; i < pairs; ++i)
            name += std::string("S_IS") + digits[i] + "_S" + digits[i] + "_E";
        return name;
    };
    EXPECT_EQ(demangle(nameOf(1).c_str()),
              "f(std::pair<int, int>, std::pair<std::pair<int, int>, std::pair<int, int> >)");
    expectCheap([&] { EXPECT_EQ(demangle(nameOf(30).c_str()), nameOf(30)); });
}

} // namespace
