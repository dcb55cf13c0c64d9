#include <jitlens_3_13/native_image.h>

#include "source_bytes.h"

#include <elf.h>

#include <string_view>

namespace jitlens_3_13 {

int isNativeImage(const char* path) noexcept
try {
    constexpr std::size_t headBytes = EI_NIDENT + sizeof(Elf64_Half);
    if (path == nullptr) return 0;
    const std::vector<std::byte> bytes = readHead(path, headBytes);
    const std::string_view head = textOf(bytes);
    if (head.size() < headBytes || !head.starts_with(ELFMAG)) return 0;
    if (head[EI_DATA] != ELFDATA2LSB) return 0; // another byte order does not run here
    const auto type = numberAt<Elf64_Half>(bytes, EI_NIDENT);
    return type == ET_EXEC || type == ET_DYN ? 1 : 0;
} catch (...) {
    return 0;
}

} // namespace jitlens_3_13
