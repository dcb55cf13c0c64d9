#pragma once

#include "byte_reader.h"

#include <cstdint>
#include <string>
#include <vector>

namespace jitlens_3_13 {

/// Largest files that are read. Places in a file fit 32 bits, and memory stays within a few times
/// the limit.
inline constexpr std::uint64_t g_maxDumpBytes = std::uint64_t{1} << 30;
inline constexpr std::uint64_t g_maxMapBytes = std::uint64_t{1} << 28;

/// A file in memory. It is copied and not mapped, since its writer may cut it at any time.
struct source_bytes_t {
    std::vector<std::byte> bytes;
    bool isDump =
        false;         ///< it starts like a jitdump of either byte order, or is empty and named so
    std::string fault; ///< why it cannot be read, without the path; empty when it was
};

/// Reads the regular file at `path`. Never waits for a writer of a named pipe.
source_bytes_t readSource(const std::string& path);

/// The first `count` bytes of the regular file at `path`, or all that it has; none when it cannot
/// be read.
std::vector<std::byte> readHead(const std::string& path, std::size_t count);

/// Whether `path` is a regular file, or leads to one.
bool isRegularFile(const std::string& path);

/// Whether both lead to one file.
bool isSameFile(const std::string& a, const std::string& b);

} // namespace jitlens_3_13
