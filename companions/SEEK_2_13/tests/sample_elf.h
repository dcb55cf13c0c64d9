#pragma once

#include "support/temporary_folder.h"

#include <string>
#include <string_view>

namespace seek_test {

/// Shared objects made by the compiler and linker of this machine, to look for.
class SampleElf {
public:
    static constexpr std::string_view rightId = "0123456789abcdef0123456789abcdef01234567";
    static constexpr std::string_view wrongId = "fedcba9876543210fedcba9876543210fedcba98";

    /// Bytes of one with a symbol table and the build id `id`, or without if that is empty.
    static std::string withId(std::string_view id);
    /// The same without a symbol table.
    static std::string stripped(std::string_view id);

private:
    static std::string made(std::string_view id, const char* flags);
};

/// All bytes of a file; throws when it cannot be read.
std::string bytesOf(const std::string& path);

/// Writes a file and the folders above it. Returns the path.
std::string put(const std::string& path, std::string_view bytes);

} // namespace seek_test
