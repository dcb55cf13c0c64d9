#include "elf_file.h"

#include <fcntl.h>
#include <gelf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace GLYPH_3_30 {
namespace {

/// Largest section that is read at once, so that a sparse file cannot fill the memory.
constexpr std::uint64_t g_maxSectionBytes = std::uint64_t{4} << 30;
constexpr std::size_t g_blockBytes = 1 << 16;
/// Most section headers of a file; a large object has some hundred thousand. The library keeps some
/// hundred bytes of each.
constexpr std::uint64_t g_maxSections = 1 << 20;

std::string systemFault(const char* what)
{
    const int number = errno;
    return std::string(what) + ": " + std::strerror(number);
}

/// Opens the regular file at `path`. Returns a descriptor, or -1 with `fault`.
int openRegular(const std::string& path, std::uint64_t& size, std::string& fault)
{
    // Looked at before it is opened, since opening a device may already do something, and once more
    // behind that, since the name may have got another file meanwhile.
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) {
        fault = systemFault("cannot be opened");
        return -1;
    }
    int fd = -1;
    if (S_ISREG(status.st_mode)) {
        fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
        if (fd < 0 || ::fstat(fd, &status) != 0) {
            fault = systemFault("cannot be opened");
            if (fd >= 0) ::close(fd);
            return -1;
        }
    }
    if (!S_ISREG(status.st_mode)) {
        fault = "not a regular file";
        if (fd >= 0) ::close(fd);
        return -1;
    }
    size = static_cast<std::uint64_t>(status.st_size);
    return fd;
}

/// Reads up to `size` bytes at `offset`; fewer at the end of the file. -1 on an error.
ssize_t readAt(int fd, char* bytes, std::size_t size, std::uint64_t offset)
{
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t got =
            ::pread(fd, bytes + filled, size - filled, static_cast<off_t>(offset + filled));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        if (got == 0) break;
        filled += static_cast<std::size_t>(got);
    }
    return static_cast<ssize_t>(filled);
}

/// `number` as the file has it, in the order of this machine.
template <class T>
std::uint64_t inOrder(T number, bool isSwapped)
{
    if (!isSwapped) return number;
    if constexpr (sizeof number == 2) return __builtin_bswap16(number);
    if constexpr (sizeof number == 4) return __builtin_bswap32(number);
    return __builtin_bswap64(number);
}

/// How many section headers a file with headers of these types claims to have. `read` gets bytes of
/// the file.
template <class Header, class Section, class Read>
std::uint64_t claimedSections(const Read& read)
{
    Header header;
    Section first;
    if (!read(&header, sizeof header, 0)) return 0;
    const bool isSwapped = header.e_ident[EI_DATA] == ELFDATA2MSB;
    const std::uint64_t place = inOrder(header.e_shoff, isSwapped);
    // A number that is too large for the header stands in the first section.
    if (header.e_shnum != 0 || place == 0) return inOrder(header.e_shnum, isSwapped);
    return read(&first, sizeof first, place) ? inOrder(first.sh_size, isSwapped) : 0;
}

/// The same of a file, or of `bytes` without one; 0 when it is no ELF file, which is for others to
/// tell.
std::uint64_t claimedSections(int fd, const std::vector<char>& bytes)
{
    const auto read = [&](void* to, std::size_t size, std::uint64_t offset) {
        if (fd >= 0)
            return readAt(fd, static_cast<char*>(to), size, offset) == static_cast<ssize_t>(size);
        if (offset > bytes.size() || bytes.size() - offset < size) return false;
        std::memcpy(to, bytes.data() + offset, size);
        return true;
    };
    unsigned char ident[EI_NIDENT];
    if (!read(ident, sizeof ident, 0) || std::memcmp(ident, ELFMAG, SELFMAG) != 0) return 0;
    return ident[EI_CLASS] == ELFCLASS32 ? claimedSections<Elf32_Ehdr, Elf32_Shdr>(read)
                                         : claimedSections<Elf64_Ehdr, Elf64_Shdr>(read);
}

/// CRC-32 of the polynomial 0xEDB88320, as debug links have it.
class Crc32 {
public:
    Crc32()
    {
        for (std::uint32_t i = 0; i < m_table.size(); ++i) {
            std::uint32_t value = i;
            for (int bit = 0; bit < 8; ++bit)
                value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320U : 0U);
            m_table[i] = value;
        }
    }
    void add(std::string_view bytes)
    {
        for (const char byte : bytes)
            m_state = m_table[(m_state ^ static_cast<unsigned char>(byte)) & 0xFF] ^ (m_state >> 8);
    }
    std::uint32_t value() const noexcept { return ~m_state; }

private:
    std::array<std::uint32_t, 256> m_table;
    std::uint32_t m_state = ~std::uint32_t{0};
};

} // namespace

std::unique_ptr<ElfFile> ElfFile::open(const std::string& path, bool inMemory, std::string& fault)
{
    std::unique_ptr<ElfFile> file(new ElfFile);
    file->m_fd = openRegular(path, file->m_size, fault);
    if (file->m_fd < 0) return nullptr;
    if (inMemory) {
        if (file->m_size > g_maxSectionBytes) {
            fault = "the file is larger than the " + std::to_string(g_maxSectionBytes >> 20) +
                    " MiB that are read into memory";
            return nullptr;
        }
        std::vector<char> bytes(file->m_size);
        const ssize_t got = readAt(file->m_fd, bytes.data(), bytes.size(), 0);
        if (got < 0) {
            fault = systemFault("cannot be read");
            return nullptr;
        }
        bytes.resize(static_cast<std::size_t>(got));
        return fromBytes(std::move(bytes), fault);
    }
    return file->begin(fault) ? std::move(file) : nullptr;
}

std::unique_ptr<ElfFile> ElfFile::fromBytes(std::vector<char> bytes, std::string& fault)
{
    std::unique_ptr<ElfFile> file(new ElfFile);
    file->m_bytes = std::move(bytes);
    file->m_size = file->m_bytes.size();
    return file->begin(fault) ? std::move(file) : nullptr;
}

ElfFile::~ElfFile()
{
    if (m_elf != nullptr) ::elf_end(m_elf);
    if (m_fd >= 0) ::close(m_fd);
}

bool ElfFile::begin(std::string& fault)
{
    if (claimedSections(m_fd, m_bytes) > g_maxSections) {
        fault = "it claims to have more than " + std::to_string(g_maxSections) + " sections";
        return false;
    }
    ::elf_version(EV_CURRENT);
    m_elf = m_fd >= 0 ? ::elf_begin(m_fd, ELF_C_READ, nullptr)
                      : ::elf_memory(m_bytes.data(), m_bytes.size());
    if (m_elf == nullptr) {
        fault = std::string("cannot be read as an ELF file: ") + ::elf_errmsg(-1);
        return false;
    }
    if (::elf_kind(m_elf) != ELF_K_ELF) {
        fault = "not an ELF file";
        return false;
    }
    return true;
}

std::size_t ElfFile::read(std::uint64_t offset, std::span<std::byte> bytes) const
{
    if (offset >= m_size) return 0;
    const std::size_t wanted = std::min<std::uint64_t>(bytes.size(), m_size - offset);
    if (m_fd < 0) {
        std::memcpy(bytes.data(), m_bytes.data() + offset, wanted);
        return wanted;
    }
    const ssize_t got = readAt(m_fd, reinterpret_cast<char*>(bytes.data()), wanted, offset);
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

bool ElfFile::checksum(std::uint32_t& crc) const
{
    Crc32 sum;
    if (m_fd < 0) {
        sum.add({m_bytes.data(), m_bytes.size()});
    } else {
        std::vector<char> block(g_blockBytes);
        std::uint64_t offset = 0;
        for (ssize_t got = 1; got > 0; offset += static_cast<std::uint64_t>(got)) {
            got = readAt(m_fd, block.data(), block.size(), offset);
            if (got < 0) return false;
            sum.add({block.data(), static_cast<std::size_t>(got)});
        }
    }
    crc = sum.value();
    return true;
}

std::span<const std::byte> rawBytes(Elf_Scn* section)
{
    GElf_Shdr header;
    if (section == nullptr || ::gelf_getshdr(section, &header) == nullptr) return {};
    if (header.sh_type == SHT_NOBITS || (header.sh_flags & SHF_COMPRESSED) != 0) return {};
    if (header.sh_size > g_maxSectionBytes) return {};
    const Elf_Data* data = ::elf_rawdata(section, nullptr);
    if (data == nullptr || data->d_buf == nullptr) return {};
    return {static_cast<const std::byte*>(data->d_buf), data->d_size};
}

TextTable::TextTable(Elf_Scn* section)
{
    const std::span<const std::byte> bytes = rawBytes(section);
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const std::size_t last = text.rfind('\0');
    if (last != std::string_view::npos) m_text = text.substr(0, last + 1);
}

} // namespace GLYPH_3_30
