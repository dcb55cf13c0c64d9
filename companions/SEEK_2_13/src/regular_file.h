#pragma once

#include <SEEK_2_13/error_info.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <sys/types.h>
#include <vector>

namespace SEEK_2_13 {

/// Most bytes of a file that are read for a checksum, so that a sparse file ends.
inline constexpr std::uint64_t g_maxChecksumBytes = std::uint64_t{64} << 30;

inline constexpr std::size_t g_blockBytes = std::size_t{1} << 20;

/// A regular file, open for reading. Nothing here waits for a pipe or a device.
class RegularFile {
public:
    RegularFile() = default;
    ~RegularFile();
    RegularFile(const RegularFile&) = delete;
    RegularFile& operator=(const RegularFile&) = delete;

    /// Opens the file at `path`, once. Returns why it cannot, with a line in `detail`.
    refusal_t open(const std::string& path, std::string& detail);

    int descriptor() const noexcept { return m_fd; }
    std::uint64_t size() const noexcept { return m_size; }
    /// Whether its content is made up as it is read.
    bool isOfProc() const noexcept;
    /// Reads from `offset` on. Fewer bytes than asked for at the end of the file; -1 with errno.
    ssize_t readAt(std::span<std::byte> bytes, std::uint64_t offset) const noexcept;
    /// Gives all bytes to `sink` in large blocks. False, with the cause, when they cannot be read
    /// or make up no checksum.
    template <class Sink>
    bool readAll(Sink&& sink, std::string& detail) const;

private:
    bool prepareReading(std::string& detail) const;
    bool nextBlock(std::span<std::byte> block, std::uint64_t offset, std::size_t& got,
                   std::string& detail) const;

    int m_fd = -1;
    std::uint64_t m_size = 0;
};

template <class Sink>
bool RegularFile::readAll(Sink&& sink, std::string& detail) const
{
    if (!prepareReading(detail)) return false;
    std::vector<std::byte> block(g_blockBytes);
    std::uint64_t offset = 0;
    for (std::size_t got = 1; got != 0; offset += got) {
        if (!nextBlock(block, offset, got, detail)) return false;
        if (got != 0) sink(std::span<const std::byte>(block).first(got));
    }
    return true;
}

/// Whether both paths lead to one file.
bool isSameFile(const std::string& a, const std::string& b);

} // namespace SEEK_2_13
