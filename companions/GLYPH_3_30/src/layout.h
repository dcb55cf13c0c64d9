#pragma once

#include "elf_file.h"
#include "interval_map.h"

#include <cstdint>
#include <string>
#include <vector>

// What the headers of an ELF file tell: segments, sections, and which bytes go where.
namespace GLYPH_3_30 {

struct segment_header_t {
    std::uint32_t kind = 0;
    std::uint32_t flags = 0;
    std::uint64_t offset = 0;
    std::uint64_t fileSize = 0;
    std::uint64_t address = 0;
    std::uint64_t memorySize = 0;
};

struct section_header_t {
    const char* name = ""; ///< lives as long as the file
    std::uint32_t type = 0;
    std::uint64_t flags = 0;
    std::uint64_t address = 0;
    std::uint64_t size = 0;
    std::uint64_t offset = 0;
};

/// Bytes of the file that stand side by side.
struct file_stretch_t {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

/// Immutable once read; any thread.
class Layout {
public:
    /// False, with `fault`, when the headers are not those of an executable or a shared object.
    bool read(const ElfFile& file, std::string& fault);

    bool isFixed() const noexcept { return m_isFixed; }
    std::uint32_t machine() const noexcept { return m_machine; }
    std::uint64_t loadAddress() const noexcept { return m_loadAddress; }
    const std::vector<segment_header_t>& segments() const noexcept { return m_segments; }
    /// The first is the empty one that every table begins with.
    const std::vector<section_header_t>& sections() const noexcept { return m_sections; }

    /// The section at an image address; null when there is none.
    const section_header_t* sectionAt(std::uint64_t address) const noexcept;
    bool isLoaded(std::uint64_t address) const noexcept;
    /// The stretch of code that holds the address: an executable section or, in a file without
    /// sections, an executable segment. False when it is no code.
    bool findCode(std::uint64_t address, range_t& code) const noexcept;
    bool toAddress(std::uint64_t offset, std::uint64_t& address) const noexcept;
    bool toOffset(std::uint64_t address, std::uint64_t& offset) const noexcept;
    /// The bytes from `address` on to the end of what one segment has; false when there are none.
    bool findInFile(std::uint64_t address, file_stretch_t& stretch) const noexcept;
    /// The stretches of code as far as they are in the file, by address.
    std::vector<range_t> codeInFile() const;

private:
    bool readSegments(const ElfFile& file, std::string& fault);
    bool readSections(Elf* elf, std::string& fault);
    void findLoadAddress();
    void indexCode();
    void indexFile();

    bool m_isFixed = false;
    std::uint32_t m_machine = 0;
    std::uint64_t m_loadAddress = 0;
    std::vector<segment_header_t> m_segments;
    std::vector<section_header_t> m_sections;
    IntervalMap m_sectionByAddress;
    IntervalMap m_code;
    IntervalMap m_inFile; ///< address to the index of the first loadable segment that has it
};

} // namespace GLYPH_3_30
