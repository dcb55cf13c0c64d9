#pragma once

#include <libelf.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace GLYPH_3_30 {

/// An ELF file with what keeps it readable: its descriptor, or its bytes. Nothing is mapped, since
/// a mapped file that is cut by its writer ends the process.
class ElfFile {
public:
    /// Null, with `fault`, when it is no regular file or no ELF file.
    static std::unique_ptr<ElfFile> open(const std::string& path, bool inMemory,
                                         std::string& fault);
    static std::unique_ptr<ElfFile> fromBytes(std::vector<char> bytes, std::string& fault);
    ~ElfFile();
    ElfFile(const ElfFile&) = delete;
    ElfFile& operator=(const ElfFile&) = delete;

    /// Reading through it changes it, so that `mutex` must be held once others know the file.
    Elf* elf() const noexcept { return m_elf; }
    std::mutex& mutex() const noexcept { return m_mutex; }
    /// Bytes of the file.
    std::uint64_t size() const noexcept { return m_size; }
    /// Copies bytes of the file from `offset` on; how many there were. Any thread.
    std::size_t read(std::uint64_t offset, std::span<std::byte> bytes) const;
    /// The checksum of debug links over the whole file. False when it cannot be read.
    bool checksum(std::uint32_t& crc) const;

private:
    ElfFile() = default;
    bool begin(std::string& fault);

    std::vector<char> m_bytes;
    int m_fd = -1;
    std::uint64_t m_size = 0;
    Elf* m_elf = nullptr;
    mutable std::mutex m_mutex;
};

/// Contents of a section as they stand in the file. Empty when they cannot be read, when they are
/// compressed, or when there are none in the file. Lives as long as the file.
std::span<const std::byte> rawBytes(Elf_Scn* section);

/// A section of NUL-terminated texts.
class TextTable {
public:
    TextTable() = default;
    explicit TextTable(Elf_Scn* section);

    /// The text at `offset`; null when it is outside or has no end.
    const char* at(std::uint64_t offset) const noexcept
    {
        return offset < m_text.size() ? m_text.data() + offset : nullptr;
    }

private:
    std::string_view m_text; ///< up to the last NUL
};

} // namespace GLYPH_3_30
